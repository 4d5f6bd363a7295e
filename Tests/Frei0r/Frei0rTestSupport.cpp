#include "Frei0rTestSupport.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>

namespace fs = std::filesystem;

namespace Brindel::Testing {

ScratchFolder::ScratchFolder() {
    const ::testing::TestInfo* test = ::testing::UnitTest::GetInstance()->current_test_info();
    mPath = fs::temp_directory_path() /
            ("frei0r-test-" + std::to_string(::getpid()) + "-" + (test ? test->name() : "scratch"));
    fs::remove_all(mPath);
    fs::create_directories(mPath);
}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(mPath, ignored);
}

std::string ReadBytes(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void WriteBytes(const fs::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

int RunCommand(const std::string& command) {
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

double PeakMiBOf(const std::string& command) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::execl("/bin/sh", "sh", "-c", ("exec " + command).c_str(), static_cast<char*>(nullptr));
        ::_exit(127);
    }
    int status = 0;
    struct rusage usage {};
    if (pid < 0 || ::wait4(pid, &status, 0, &usage) != pid || !WIFEXITED(status) ||
        WEXITSTATUS(status) != 0) {
        ADD_FAILURE() << command << ": status " << status;
        return 0.0;
    }
    // ru_maxrss is in KiB, and it is this child's alone.
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

std::string Quoted(const fs::path& path) {
    std::string quoted = "'";
    for (const char c : path.string()) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

std::string RgbaToArgb(const std::string& rgba) {
    std::string argb(rgba.size(), '\0');
    for (size_t i = 0; i + 3 < rgba.size(); i += 4) {
        argb[i] = rgba[i + 3];
        argb[i + 1] = rgba[i];
        argb[i + 2] = rgba[i + 1];
        argb[i + 3] = rgba[i + 2];
    }
    return argb;
}

std::string ArgbToRgba(const std::string& argb) {
    std::string rgba(argb.size(), '\0');
    for (size_t i = 0; i + 3 < argb.size(); i += 4) {
        rgba[i] = argb[i + 1];
        rgba[i + 1] = argb[i + 2];
        rgba[i + 2] = argb[i + 3];
        rgba[i + 3] = argb[i];
    }
    return rgba;
}

std::string AehostRaw(const ScratchFolder& folder, int width, int height, double blurPixels,
                      const std::string& argbFrames) {
    const fs::path in = folder / "aehost-in.argb", out = folder / "aehost-out.argb",
                   log = folder / "aehost.log";
    WriteBytes(in, argbFrames);
    char blur[64];
    std::snprintf(blur, sizeof blur, "%.17g", blurPixels);
    const std::string command = Quoted(AEHOST_PATH) + " --raw " + std::to_string(width) + "x" +
                                std::to_string(height) + " --blur " + blur + " " + Quoted(in) +
                                " " + Quoted(out) + " > " + Quoted(log);
    EXPECT_EQ(RunCommand(command), 0) << command;
    return ReadBytes(out);
}

bool WithinLevels(const std::string& a, const std::string& b, int levels, std::string& what) {
    if (a.size() != b.size()) {
        what = "sizes " + std::to_string(a.size()) + " and " + std::to_string(b.size());
        return false;
    }
    for (size_t i = 0; i + 3 < a.size(); i += 4) {
        const double alphaA = static_cast<uint8_t>(a[i]), alphaB = static_cast<uint8_t>(b[i]);
        bool close = std::abs(alphaA - alphaB) <= levels;
        for (size_t c = 1; c < 4 && close; ++c) {
            const double colourA = static_cast<uint8_t>(a[i + c]) * alphaA / 255.0;
            const double colourB = static_cast<uint8_t>(b[i + c]) * alphaB / 255.0;
            close = std::abs(colourA - colourB) <= levels + 1e-9;
        }
        if (!close) {
            std::ostringstream text;
            text << "pixel " << i / 4 << ": ARGB";
            for (size_t c = 0; c < 4; ++c) {
                text << ' ' << int(static_cast<uint8_t>(a[i + c]));
            }
            text << " against";
            for (size_t c = 0; c < 4; ++c) {
                text << ' ' << int(static_cast<uint8_t>(b[i + c]));
            }
            what = text.str();
            return false;
        }
    }
    return true;
}

} // namespace Brindel::Testing
