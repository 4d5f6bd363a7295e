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

TEST(ProgressLine, PrintedLinesNeverShareALineWithTheBar) {
    FILE* file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    {
        ProgressLine progress(file, true, 3);
        progress.step();
        progress.print("frame 1: 123.45 ms");
        progress.step();
        progress.print("frame 2: 6.78 ms");
        progress.step();
    }
    const std::vector<std::string> screen = Screen(Written(file));
    std::fclose(file);
    ASSERT_EQ(screen.size(), 4u);
    EXPECT_EQ(screen[0], "frame 1: 123.45 ms");
    EXPECT_EQ(screen[1], "frame 2: 6.78 ms");
    EXPECT_EQ(screen[2], "[" + std::string(30, '#') + "] 3/3");
    EXPECT_EQ(screen[3], "");
}

TEST(ProgressLine, WithoutATerminalPrintsLinesAlone) {
    FILE* file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    {
        ProgressLine progress(file, false, std::nullopt);
        progress.step();
        progress.print("frame 1: 1.00 ms");
    }
    EXPECT_EQ(Written(file), "frame 1: 1.00 ms\n");
    std::fclose(file);
}
