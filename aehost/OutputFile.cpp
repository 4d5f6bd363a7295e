#include "OutputFile.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace Brindel::Host {

namespace {

// A hidden file beside `destination`, named after it so that a left-over is
// known, with the usual mode rather than mkstemps' private one.
int MakeTemporary(const std::string& destination, std::string& path) {
    const size_t slash = destination.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : destination.substr(0, slash + 1);
    const std::string name = destination.substr(folder.size());
    const size_t dot = name.rfind('.');
    const std::string extension = dot == std::string::npos || dot == 0 ? "" : name.substr(dot);
    std::string pattern = folder + "." + name + ".part-XXXXXX" + extension;
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    const int fd = mkstemps(buffer.data(), static_cast<int>(extension.size()));
    if (fd >= 0) {
        const mode_t mask = umask(0);
        umask(mask);
        fchmod(fd, 0666 & ~mask);
        path = buffer.data();
    }
    return fd;
}

// Opens a FIFO for writing once it has a reader. A blocking open would
// outlast an interrupt, since signals restart calls.
int OpenFifo(const std::string& path, int wake) {
    for (;;) {
        const int fd = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        if (fd >= 0) {
            // Writes wait for the reader, as on any pipe.
            fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
            return fd;
        }
        if (errno != ENXIO) {
            return -1;
        }
        pollfd stop{wake, POLLIN, 0};
        if (poll(&stop, 1, 50) > 0) {
            errno = EINTR;
            return -1;
        }
    }
}

int ConnectSocket(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        errno = ENAMETOOLONG;
        return -1;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd >= 0 && connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        const int error = errno;
        close(fd);
        errno = error;
        return -1;
    }
    return fd;
}

} // namespace

OutputFile::OutputFile(const OutputTarget& target, const std::string& name, int wake)
    : mName(name), mDestination(target.path) {
    switch (target.kind) {
    case OutputTarget::Kind::Replace:
        mFd = MakeTemporary(target.path, mTemporary);
        break;
    case OutputTarget::Kind::Device:
        // No O_CREAT: a device gone since the checks is an error, not a new file.
        mFd = open(target.path.c_str(), O_WRONLY | O_CLOEXEC);
        break;
    case OutputTarget::Kind::Fifo:
        mFd = OpenFifo(target.path, wake);
        break;
    case OutputTarget::Kind::Socket:
        mFd = ConnectSocket(target.path);
        break;
    case OutputTarget::Kind::Descriptor:
        mFd = target.descriptor;
        mOwned = false;
        if (mFd < 0) {
            errno = EBADF;
        }
        break;
    }
    if (mFd < 0) {
        throw OutputFileError("cannot write " + mName + ": " + std::strerror(errno));
    }
}

OutputFile::~OutputFile() {
    if (mOwned && mFd >= 0) {
        close(mFd);
    }
    if (!mCommitted && !mTemporary.empty()) {
        std::remove(mTemporary.c_str());
    }
}

void OutputFile::write(const void* bytes, size_t size) {
    const char* next = static_cast<const char*>(bytes);
    while (size > 0) {
        const ssize_t n = ::write(mFd, next, size);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            throw OutputFileError("cannot write " + mName + ": " + std::strerror(errno));
        }
        next += n;
        size -= static_cast<size_t>(n);
    }
}

void OutputFile::commit() {
    if (!mTemporary.empty()) {
        const int fd = mFd;
        mFd = -1;
        // On disk before the name: a machine lost after the rename must not leave a name that
        // a re-run takes for a finished frame over missing bytes.
        int error = fsync(fd) != 0 ? errno : 0;
        if (close(fd) != 0 && error == 0) {
            error = errno;
        }
        if (error == 0 && std::rename(mTemporary.c_str(), mDestination.c_str()) != 0) {
            error = errno;
        }
        if (error != 0) {
            throw OutputFileError("cannot write " + mName + ": " + std::strerror(error));
        }
    }
    mCommitted = true;
}

} // namespace Brindel::Host
