#include "AehostChecks.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <vector>

#include "AehostOptions.h"

namespace Brindel::Host {

namespace {

std::string Reason(int error) {
    return std::strerror(error);
}

std::string FolderOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

// The descriptor that /dev/stdout, /dev/stderr or /dev/fd/N stands for, or -1.
int NamedDescriptor(const std::string& path) {
    if (path == "/dev/stdout" || path == "/dev/stderr") {
        return path == "/dev/stdout" ? STDOUT_FILENO : STDERR_FILENO;
    }
    for (const std::string folder : {"/dev/fd/", "/proc/self/fd/"}) {
        const std::string number = path.substr(std::min(path.size(), folder.size()));
        if (path.compare(0, folder.size(), folder) == 0 && !number.empty() && number.size() < 9 &&
            number.find_first_not_of("0123456789") == std::string::npos) {
            return std::stoi(number);
        }
    }
    return -1;
}

// Follows `path` while it is a link, to the name it ends at, which need not
// exist yet; stops at a name that stands for a descriptor, and sets
// `descriptor` to it.
std::string FollowLinks(const std::string& given, int& descriptor) {
    std::string path = given;
    for (int links = 0; links < 40; ++links) {
        descriptor = NamedDescriptor(path);
        struct stat info;
        if (descriptor >= 0 || lstat(path.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) {
            return path;
        }
        std::vector<char> target(PATH_MAX);
        const ssize_t n = readlink(path.c_str(), target.data(), target.size());
        if (n <= 0 || static_cast<size_t>(n) == target.size()) {
            return path;
        }
        const std::string next(target.data(), static_cast<size_t>(n));
        const std::string folder = FolderOf(path);
        path = next[0] == '/' ? next : (folder == "/" ? "" : folder) + "/" + next;
    }
    throw UsageError("cannot write " + given + ": " + Reason(ELOOP));
}

} // namespace

std::string AehostChecks::PluginPath(const std::string& requested,
                                     const std::string& programFolder) {
    std::string path = requested.empty() ? programFolder + "/GaussianBlur.so" : requested;
    const bool bare = path.find('/') == std::string::npos;
    struct stat info;
    if (bare) {
        // The loader alone would search only the library path.
        if (stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode)) {
            path = "./" + path;
        }
        return path;
    }
    if (stat(path.c_str(), &info) != 0) {
        throw UsageError("cannot load plug-in " + path + ": " + Reason(errno));
    }
    if (!S_ISREG(info.st_mode)) {
        throw UsageError("cannot load plug-in " + path + ": " +
                         Reason(S_ISDIR(info.st_mode) ? EISDIR : ENOEXEC));
    }
    return path;
}

void AehostChecks::CheckInput(const std::string& path) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        throw UsageError("cannot read " + path + ": " + Reason(errno));
    }
    struct stat info;
    const bool folder = fstat(fd, &info) == 0 && S_ISDIR(info.st_mode);
    close(fd);
    if (folder) {
        throw UsageError("cannot read " + path + ": " + Reason(EISDIR));
    }
}

OutputTarget AehostChecks::CheckOutput(const std::string& path, int standardOutput) {
    auto refuse = [&path](int error) {
        throw UsageError("cannot write " + path + ": " + Reason(error));
    };
    OutputTarget target;
    int descriptor = path == "-" ? STDOUT_FILENO : -1;
    target.path = descriptor >= 0 ? path : FollowLinks(path, descriptor);
    if (descriptor >= 0) {
        // Written through: renaming a file over /dev/stdout would replace
        // the machine's link, and the reader would get nothing.
        target.kind = OutputTarget::Kind::Descriptor;
        target.descriptor = descriptor == STDOUT_FILENO ? standardOutput : descriptor;
        if (path == "-" && target.descriptor < 0) {
            throw UsageError("cannot write standard output: it is closed");
        }
        const int flags = fcntl(target.descriptor, F_GETFL);
        if (flags < 0 || (flags & O_ACCMODE) == O_RDONLY) {
            refuse(EBADF);
        }
        return target;
    }
    struct stat info;
    if (stat(target.path.c_str(), &info) == 0) {
        if (S_ISDIR(info.st_mode)) {
            refuse(EISDIR);
        }
        if (!S_ISREG(info.st_mode)) {
            // Replacing a device or a FIFO with a file would destroy it.
            target.kind = S_ISFIFO(info.st_mode)   ? OutputTarget::Kind::Fifo
                          : S_ISSOCK(info.st_mode) ? OutputTarget::Kind::Socket
                                                   : OutputTarget::Kind::Device;
            if (access(target.path.c_str(), W_OK) != 0) {
                refuse(errno);
            }
            return target;
        }
    } else if (errno != ENOENT) {
        refuse(errno);
    }
    const std::string folder = FolderOf(target.path);
    if (stat(folder.c_str(), &info) != 0) {
        refuse(errno);
    }
    if (!S_ISDIR(info.st_mode)) {
        refuse(ENOTDIR);
    }
    // The temporary file goes beside the output: the folder must take it.
    if (access(folder.c_str(), W_OK | X_OK) != 0) {
        refuse(errno);
    }
    return target;
}

void AehostChecks::CheckDistinct(const std::string& input, const std::string& output) {
    struct stat in, out;
    if (stat(input.c_str(), &in) == 0 && stat(output.c_str(), &out) == 0 &&
        in.st_dev == out.st_dev && in.st_ino == out.st_ino) {
        throw UsageError(input + " and " + output +
                         " are the same file: the output would overwrite its input");
    }
}

} // namespace Brindel::Host
