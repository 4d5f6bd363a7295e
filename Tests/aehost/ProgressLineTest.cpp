#include "ProgressLine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

using Brindel::Host::ProgressLine;

namespace {

// What a terminal shows for `text`: carriage return goes back to the start of the line, ESC [ K
// clears it, newline ends it.
std::vector<std::string> Screen(const std::string& text) {
    std::vector<std::string> lines(1);
    size_t column = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        std::string& line = lines.back();
        if (text.compare(i, 3, "\033[K") == 0) {
            line.resize(column);
            i += 2;
        } else if (text[i] == '\r' || text[i] == '\n') {
            column = 0;
            if (text[i] == '\n') {
                lines.emplace_back();
            }
        } else {
            line.resize(std::max(line.size(), column + 1));
            line[column++] = text[i];
        }
    }
    return lines;
}

} // namespace

TEST(ProgressLine, PrintedLinesNeverShareALineWithTheBarAndNoBarWithoutATerminal) {
    const std::vector<std::string> printed = {"frame 1: 123.45 ms", "frame 2: 6.78 ms"};
    for (const bool terminal : {true, false}) {
        char* buffer = nullptr;
        size_t size = 0;
        FILE* file = open_memstream(&buffer, &size);
        ASSERT_NE(file, nullptr);
        {
            ProgressLine progress(file, terminal, 3);
            for (const std::string& line : printed) {
                progress.step();
                progress.print(line);
            }
            progress.step();
        }
        std::fclose(file);
        const std::string text(buffer, size);
        std::free(buffer);
        std::vector<std::string> screen = printed;
        if (terminal) {
            screen.push_back("[" + std::string(30, '#') + "] 3/3");
        }
        screen.emplace_back();
        EXPECT_EQ(Screen(text), screen) << text;
        // Without a terminal, nothing that only a terminal understands.
        EXPECT_TRUE(terminal || text.find_first_of("\r\033") == std::string::npos) << text;
    }
}
