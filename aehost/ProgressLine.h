#pragma once

#include <cstdio>
#include <optional>
#include <string>

namespace Brindel::Host {

// A progress bar and whole lines of text on one stream (standard error): a
// line is printed above the bar and never shares a line with it.
class ProgressLine {
public:
    // The bar is drawn only when `showBar` (a terminal); lines always.
    ProgressLine(FILE* stream, bool showBar, std::optional<long> total);
    // Ends the bar's line.
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    // One more frame done.
    void step();
    // One more frame of a numbered sequence done. Without a bar (a farm's log,
    // read a line at a time) a line says so: "frame 12 done (5 of 24)", with
    // `what` in place of "done".
    void step(long frame, const std::string& what);
    // `text` on a line of its own, without a newline of its own.
    void print(const std::string& text);
    // Ends the bar's line; later output starts on a fresh line.
    void finish();

private:
    void draw();

    FILE* mStream;
    bool mShow;
    bool mLines; // no terminal: a line per frame of a sequence instead of the bar
    std::optional<long> mTotal;
    long mDone = 0;
    bool mDrawn = false;
};

} // namespace Brindel::Host
