#pragma once

#include <stdexcept>
#include <string>

namespace Brindel::Host {

// An output that cannot be written; the message names the file and why.
class OutputFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A file written under a temporary name beside its destination, which takes
// the destination's name only on commit(): a run that fails or is stopped
// leaves the destination as it was. The temporary file keeps the
// destination's extension, for writers that go by it.
class OutputFile {
public:
    explicit OutputFile(const std::string& destination);
    // Removes the temporary file unless committed.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    const std::string& path() const { return mPath; }
    const std::string& destination() const { return mDestination; }

    void commit();

private:
    std::string mDestination;
    std::string mPath;
    bool mCommitted = false;
};

} // namespace Brindel::Host
