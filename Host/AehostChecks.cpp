#include "AehostChecks.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

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

void AehostChecks::CheckOutput(const std::string& path) {
    struct stat info;
    if (stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
        throw UsageError("cannot write " + path + ": " + Reason(EISDIR));
    }
    const std::string folder = FolderOf(path);
    if (stat(folder.c_str(), &info) != 0) {
        throw UsageError("cannot write " + path + ": " + Reason(errno));
    }
    if (!S_ISDIR(info.st_mode)) {
        throw UsageError("cannot write " + path + ": " + Reason(ENOTDIR));
    }
    // The temporary file goes beside the output: the folder must take it.
    if (access(folder.c_str(), W_OK | X_OK) != 0) {
        throw UsageError("cannot write " + path + ": " + Reason(errno));
    }
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
