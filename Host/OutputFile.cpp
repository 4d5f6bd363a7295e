#include "OutputFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace Brindel::Host {

OutputFile::OutputFile(const std::string& destination) : mDestination(destination) {
    const size_t slash = destination.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : destination.substr(0, slash + 1);
    const std::string name = destination.substr(folder.size());
    const size_t dot = name.rfind('.');
    const std::string extension = dot == std::string::npos || dot == 0 ? "" : name.substr(dot);
    // Hidden, and named after the destination so that a left-over is known.
    std::string pattern = folder + "." + name + ".part-XXXXXX" + extension;
    std::vector<char> path(pattern.begin(), pattern.end());
    path.push_back('\0');
    const int fd = mkstemps(path.data(), static_cast<int>(extension.size()));
    if (fd < 0) {
        throw OutputFileError("cannot write " + destination + ": " + std::strerror(errno));
    }
    // mkstemps makes it private; the finished file gets the usual mode.
    const mode_t mask = umask(0);
    umask(mask);
    fchmod(fd, 0666 & ~mask);
    close(fd);
    mPath = path.data();
}

OutputFile::~OutputFile() {
    if (!mCommitted) {
        std::remove(mPath.c_str());
    }
}

void OutputFile::commit() {
    if (std::rename(mPath.c_str(), mDestination.c_str()) != 0) {
        throw OutputFileError("cannot write " + mDestination + ": " + std::strerror(errno));
    }
    mCommitted = true;
}

} // namespace Brindel::Host
