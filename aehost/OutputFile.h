#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace Brindel::Host {

// An output that cannot be written; the message names the file and why.
class OutputFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// What an output is, found once before anything is written
// (AehostChecks::CheckOutput), so that writing never has to ask again.
struct OutputTarget {
    enum class Kind {
        Replace,    // a plain file or a new name: written beside it, renamed onto it
        Device,     // a character or block device: opened and written through
        Fifo,       // opened once a reader is there, and written through
        Socket,     // a listening local socket: connected to and written through
        Descriptor, // an open descriptor (/dev/stdout, /dev/fd/N): written through
    };
    Kind kind = Kind::Replace;
    std::string path;    // what to replace or open, links followed
    int descriptor = -1; // Descriptor: the one written to; it stays open

    bool streamed() const { return kind != Kind::Replace; }
};

// An output as its target's kind asks. A plain file is written under a
// temporary name beside its destination, which takes the destination's name
// only on commit(): a run that fails or is stopped leaves the destination as
// it was. The temporary file keeps the destination's extension, for writers
// that go by it. Anything else is written through as it comes, and there is
// no earlier content to keep.
class OutputFile {
public:
    // `name` is the output as given, for messages. Waiting for a FIFO's
    // reader stops when `wake` becomes readable.
    OutputFile(const OutputTarget& target, const std::string& name, int wake = -1);
    // Removes the temporary file unless committed.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    bool streamed() const { return mTemporary.empty(); }
    // The temporary file; empty when streamed.
    const std::string& path() const { return mTemporary; }
    // Open for writing: the temporary file, or the stream.
    int descriptor() const { return mFd; }
    const std::string& name() const { return mName; }

    // Writes all of `bytes`, retrying short writes.
    void write(const void* bytes, size_t size);
    void commit();

private:
    std::string mName;
    std::string mDestination;
    std::string mTemporary;
    int mFd = -1;
    bool mOwned = true;
    bool mCommitted = false;
};

} // namespace Brindel::Host
