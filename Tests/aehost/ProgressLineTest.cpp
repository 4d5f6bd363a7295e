#include "ProgressLine.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

using Brindel::Host::ProgressLine;

namespace {

// What a terminal shows for `text`: carriage return goes back to the start
// of the line, ESC [ K clears it, newline ends it.
std::vector<std::string> Screen(const std::string& text) {
    std::vector<std::string> lines(1);
    size_t column = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        std::string& line = lines.back();
        if (text.compare(i, 3, "\033[K") == 0) {
            line.resize(column);
            i += 2;
        } else if (text[i] == '\r') {
            column = 0;
        } else if (text[i] == '\n') {
            lines.emplace_back();
            column = 0;
        } else {
            if (column < line.size()) {
                line[column] = text[i];
            } else {
                line += text[i];
            }
            ++column;
        }
    }
    return lines;
}

std::string Written(FILE* file) {
    std::fflush(file);
    std::rewind(file);
    std::string text;
    for (int c; (c = std::fgetc(file)) != EOF;) {
        text += static_cast<char>(c);
    }
    return text;
}

} // namespace

TEST(ProgressLine, PrintedLinesNeverShareALineWithTheBarAndNoBarWithoutATerminal) {
    const struct {
        bool terminal;
        std::vector<std::string> screen;
    } cases[] = {
        {true,
         {"frame 1: 123.45 ms", "frame 2: 6.78 ms", "[" + std::string(30, '#') + "] 3/3", ""}},
        {false, {"frame 1: 123.45 ms", "frame 2: 6.78 ms", ""}},
    };
    for (const auto& c : cases) {
        FILE* file = std::tmpfile();
        ASSERT_NE(file, nullptr);
        {
            ProgressLine progress(file, c.terminal, 3);
            progress.step();
            progress.print("frame 1: 123.45 ms");
            progress.step();
            progress.print("frame 2: 6.78 ms");
            progress.step();
        }
        const std::string text = Written(file);
        std::fclose(file);
        EXPECT_EQ(Screen(text), c.screen) << text;
        // Without a terminal, nothing that only a terminal understands.
        EXPECT_TRUE(c.terminal || text.find_first_of("\r\033") == std::string::npos) << text;
    }
}
