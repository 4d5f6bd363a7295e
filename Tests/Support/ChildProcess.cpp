#include "ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
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
    for (int* fd : {&mIn, &mOut, &mErr}) {
        Close(*fd);
    }
    if (mPid > 0) {
        ::kill(mPid, SIGKILL);
        ::waitpid(mPid, nullptr, 0);
    }
}

ChildProcess::Result ChildProcess::Run(const std::vector<std::string>& words,
                                       const std::filesystem::path& folder,
                                       const std::string& input,
                                       const std::vector<std::string>& environment) {
    // A file in memory, so that the program sees a file as its input.
    const int file = ::memfd_create("input", MFD_CLOEXEC);
    if (file < 0 || ::write(file, input.data(), input.size()) != ssize_t(input.size()) ||
        ::lseek(file, 0, SEEK_SET) != 0) {
        throw std::runtime_error("no input file for a child process");
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
    if (::write(mIn, bytes.data(), bytes.size()) != ssize_t(bytes.size())) {
        throw std::runtime_error("the child process took not all of its input");
    }
}

bool ChildProcess::pump(int milliseconds) {
    pollfd ready[2] = {{mOut, POLLIN, 0}, {mErr, POLLIN, 0}};
    const int polled = ::poll(ready, 2, milliseconds);
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
    using namespace std::chrono;
    Close(mIn);
    const auto deadline = steady_clock::now() + minutes(2);
    bool late = false;
    while (!late && (mOut >= 0 || mErr >= 0)) {
        const auto left = duration_cast<milliseconds>(deadline - steady_clock::now()).count();
        late = left <= 0 || !pump(int(left));
    }
    if (late) {
        ::kill(mPid, SIGKILL);
    }
    Result result;
    int status = 0;
    struct rusage usage {};
    if (::wait4(mPid, &status, 0, &usage) == mPid && !late) {
        result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    mPid = -1;
    result.peakMiB = double(usage.ru_maxrss) / 1024.0; // ru_maxrss is in KiB
    result.out = std::move(mOutText);
    result.err = std::move(mErrText);
    return result;
}

} // namespace Brindel::Testing
