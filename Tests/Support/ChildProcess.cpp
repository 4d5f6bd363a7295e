#include "ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <sstream>
#include <stdexcept>

extern char** environ;

namespace Brindel::Testing {

namespace {

void Close(int& fd) {
    if (fd >= 0) {
        ::close(fd);
        fd = -1;
    }
}

} // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& words,
                           const std::filesystem::path& folder,
                           const std::vector<std::string>& environment, int input) {
    // A program that stops reading must not end the test with it.
    std::signal(SIGPIPE, SIG_IGN);
    // Everything the child needs is made before the fork.
    std::vector<char*> argv, envp;
    for (const std::string& word : words) {
        argv.push_back(const_cast<char*>(word.c_str()));
    }
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string name(*variable, std::strcspn(*variable, "=") + 1);
        if (std::none_of(environment.begin(), environment.end(),
                         [&](const std::string& added) { return added.rfind(name, 0) == 0; })) {
            envp.push_back(*variable);
        }
    }
    for (const std::string& added : environment) {
        envp.push_back(const_cast<char*>(added.c_str()));
    }
    argv.push_back(nullptr);
    envp.push_back(nullptr);
    int in[2] = {-1, -1}, out[2], err[2];
    if ((input < 0 && ::pipe2(in, O_CLOEXEC) != 0) || ::pipe2(out, O_CLOEXEC) != 0 ||
        ::pipe2(err, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipes for a child process");
    }
    mPid = ::fork();
    if (mPid == 0) {
        if (::dup2(input >= 0 ? input : in[0], STDIN_FILENO) < 0 ||
            ::dup2(out[1], STDOUT_FILENO) < 0 || ::dup2(err[1], STDERR_FILENO) < 0 ||
            ::chdir(folder.c_str()) != 0) {
            ::_exit(126);
        }
        ::execvpe(argv[0], argv.data(), envp.data());
        ::_exit(127);
    }
    Close(in[0]);
    ::close(out[1]);
    ::close(err[1]);
    mIn = in[1];
    mOut = out[0];
    mErr = err[0];
}

ChildProcess::~ChildProcess() {
    Close(mIn);
    Close(mOut);
    Close(mErr);
    if (mPid > 0) {
        ::kill(mPid, SIGKILL);
        ::waitpid(mPid, nullptr, 0);
    }
}

ChildProcess::Result ChildProcess::Run(const std::vector<std::string>& words,
                                       const std::filesystem::path& folder,
                                       const std::string& input,
                                       const std::vector<std::string>& environment) {
    // A file with no name in the folder, so that the program sees a file as its input.
    std::string name = (folder / ".stdin-XXXXXX").string();
    const int file = ::mkostemp(name.data(), O_CLOEXEC);
    if (file < 0 || ::unlink(name.c_str()) != 0 ||
        ::write(file, input.data(), input.size()) != static_cast<ssize_t>(input.size()) ||
        ::lseek(file, 0, SEEK_SET) != 0) {
        throw std::runtime_error("no input file in " + folder.string());
    }
    ChildProcess child(words, folder, environment, file);
    ::close(file);
    return child.wait();
}

std::vector<std::string> ChildProcess::Words(const std::string& line) {
    std::istringstream in(line);
    return {std::istream_iterator<std::string>(in), std::istream_iterator<std::string>()};
}

void ChildProcess::send(const std::string& bytes) {
    if (::write(mIn, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
        throw std::runtime_error("the child process took not all of its input");
    }
}

void ChildProcess::closeInput() {
    Close(mIn);
}

bool ChildProcess::pump(int milliseconds) {
    pollfd ready[2] = {{mOut, POLLIN, 0}, {mErr, POLLIN, 0}};
    const int polled = (mOut < 0 && mErr < 0) ? 0 : ::poll(ready, 2, milliseconds);
    if (polled <= 0) {
        return polled < 0 && errno == EINTR;
    }
    int* fds[2] = {&mOut, &mErr};
    std::string* texts[2] = {&mOutText, &mErrText};
    for (int i = 0; i < 2; ++i) {
        if (ready[i].revents != 0) {
            char buffer[65536];
            const ssize_t n = ::read(*fds[i], buffer, sizeof buffer);
            if (n > 0) {
                texts[i]->append(buffer, static_cast<size_t>(n));
            } else {
                Close(*fds[i]);
            }
        }
    }
    return true;
}

std::string ChildProcess::receive(size_t size) {
    while (mOutText.size() < size && mOut >= 0 && pump(60000)) {
    }
    const std::string bytes = mOutText.substr(0, size);
    mOutText.erase(0, bytes.size());
    return bytes;
}

void ChildProcess::signal(int number) const {
    ::kill(mPid, number);
}

ChildProcess::Result ChildProcess::wait() {
    closeInput();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(2);
    bool late = false;
    while (mOut >= 0 || mErr >= 0) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || !pump(static_cast<int>(left.count()))) {
            late = true;
            ::kill(mPid, SIGKILL);
            break;
        }
    }
    Result result;
    int status = 0;
    struct rusage usage {};
    if (::wait4(mPid, &status, 0, &usage) == mPid && !late) {
        result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    mPid = -1;
    // ru_maxrss is in KiB.
    result.peakMiB = static_cast<double>(usage.ru_maxrss) / 1024.0;
    result.out = std::move(mOutText);
    result.err = std::move(mErrText);
    return result;
}

} // namespace Brindel::Testing
