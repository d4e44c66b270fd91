// One output file written safely: a regular file (or a symlink's target) is
// written under a temporary name beside it and renamed over it only when
// complete; a device, a FIFO or standard output ("-") is written in place.
// Every write and the close are checked; an output not committed is removed,
// and the temporaries still open are removed by cleanupOutputs() (safe in a
// signal handler).
#pragma once

#include <cstddef>
#include <string>

namespace media {

class OutputFile {
public:
    // Resolves the target and opens the file to write. Throws MediaError.
    explicit OutputFile(const std::string& path);
    // Closes; an output not committed is removed (a temporary) or left as
    // it is (in place).
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    const std::string& path() const { return path_; }
    bool inPlace() const { return inPlace_; }
    // Whether the output can seek (a regular file).
    bool seekable() const { return !inPlace_; }
    // The file being written (the temporary, or the target in place).
    const std::string& writingPath() const { return writing_; }

    // Writes all of `bytes`; throws MediaError naming the output on failure.
    void write(const void* bytes, size_t size);
    // Moves the write position (seekable outputs); returns the new position
    // or a negative errno.
    long long seek(long long offset, int whence);
    // Closes (checked: some file systems report a full disk only then) and
    // renames into place. Throws MediaError.
    void commit();

private:
    [[noreturn]] void fail(const std::string& what, int err);

    std::string path_;    // as the user gave it
    std::string target_;  // the file the output ends up in (a symlink resolved)
    std::string writing_; // the temporary, or the target in place
    int fd_ = -1;         // owned, open until commit or destruction (not for stdout)
    bool inPlace_ = false;
    bool stdout_ = false;
    bool committed_ = false;
    int slot_ = -1; // this output's entry among the temporaries cleanupOutputs() removes
};

// Removes every temporary of an OutputFile not yet committed. Only
// async-signal-safe calls: meant for a signal handler before it exits.
void cleanupOutputs();

} // namespace media
