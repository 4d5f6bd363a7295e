#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace Brindel::Testing {

/// A program run in a folder as a user's shell starts it, its standard output and error read
/// through pipes. One still running when the object goes, or after two minutes of `wait`, is
/// killed.
class ChildProcess {
public:
    struct Result {
        int status = -1; ///< exit status; 128 + N after signal N; -1 when killed for its time
        std::string out;
        std::string err;
        double peakMiB = 0; ///< peak resident memory, of this process alone
    };

    /// Starts `words` (a program, found on PATH, and its arguments) in `folder`, with
    /// `environment` ("NAME=value") added to this process's. Standard input is the descriptor
    /// `input` where one is given, else a pipe that `send` feeds.
    ChildProcess(const std::vector<std::string>& words, const std::filesystem::path& folder,
                 const std::vector<std::string>& environment = {}, int input = -1);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Runs `words` to the end with `input` on standard input, a file.
    static Result Run(const std::vector<std::string>& words, const std::filesystem::path& folder,
                      const std::string& input = "",
                      const std::vector<std::string>& environment = {});

    /// The words of a command line split at spaces, as a shell splits one without quotes.
    static std::vector<std::string> Words(const std::string& line);

    void send(const std::string& bytes);
    /// Standard output until it holds `size` bytes or ends, or nothing comes for a minute.
    std::string receive(size_t size = SIZE_MAX);
    void signal(int number) const;
    /// Closes the input, reads what is left and waits for the end.
    Result wait();

private:
    // Reads what comes on standard output and error within `milliseconds`; false when nothing
    // came in that time.
    bool pump(int milliseconds);

    pid_t mPid = -1;
    int mIn = -1;
    int mOut = -1;
    int mErr = -1;
    std::string mOutText;
    std::string mErrText;
};

} // namespace Brindel::Testing
