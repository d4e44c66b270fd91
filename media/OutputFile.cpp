#include "media/OutputFile.h"

#include "media/MediaError.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace media {

namespace {

// Temporaries open now, for cleanupOutputs(): fixed storage, claimed and
// released with atomics so that a signal handler can read it at any time.
constexpr int kSlots = 32;
constexpr int kMaxLinkHops = 40;
constexpr int kSlotPath = PATH_MAX;
char slotPaths[kSlots][kSlotPath];
std::atomic<bool> slotUsed[kSlots];

int claimSlot(const std::string& path)
{
    if (path.size() >= size_t(kSlotPath))
        return -1;
    for (int i = 0; i < kSlots; ++i) {
        bool expected = false;
        if (!slotUsed[i].load() && slotUsed[i].compare_exchange_strong(expected, true)) {
            // Not yet visible to the handler: it reads a slot only once the
            // path is complete (the flag below).
            slotUsed[i].store(false);
            std::memcpy(slotPaths[i], path.c_str(), path.size() + 1);
            slotUsed[i].store(true);
            return i;
        }
    }
    return -1;
}

void releaseSlot(int slot)
{
    if (slot >= 0)
        slotUsed[slot].store(false);
}

std::string directoryOf(const std::string& path)
{
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

} // namespace

void cleanupOutputs()
{
    for (int i = 0; i < kSlots; ++i)
        if (slotUsed[i].load())
            unlink(slotPaths[i]);
}

OutputFile::OutputFile(const std::string& path) : path_(path)
{
    if (path == "-") {
        inPlace_ = stdout_ = true;
        fd_ = STDOUT_FILENO;
        writing_ = target_ = path;
        return;
    }
    // A symlink's target is written, never the link itself.
    target_ = path;
    struct stat st {};
    // Links are followed one by one, so that a link to a file not yet made
    // names the file to make.
    for (int hops = 0; lstat(target_.c_str(), &st) == 0 && S_ISLNK(st.st_mode); ++hops) {
        char link[PATH_MAX];
        const ssize_t n = readlink(target_.c_str(), link, sizeof link - 1);
        if (n < 0 || hops > kMaxLinkHops)
            fail("cannot follow the link", n < 0 ? errno : ELOOP);
        link[n] = '\0';
        target_ = link[0] == '/' ? std::string(link) : directoryOf(target_) + "/" + link;
    }
    if (stat(target_.c_str(), &st) == 0 && !S_ISREG(st.st_mode)) {
        if (S_ISDIR(st.st_mode))
            throw MediaError("cannot write '" + path + "': it is a directory");
        // Devices and FIFOs are written in place.
        inPlace_ = true;
        writing_ = target_;
        fd_ = open(target_.c_str(), O_WRONLY | O_CLOEXEC);
        if (fd_ < 0)
            fail("cannot open", errno);
        return;
    }
    // The temporary keeps the extension last (formats chosen by name still
    // recognise it) and sits in the target's directory (the rename is
    // atomic there).
    const std::string dir = directoryOf(target_);
    const size_t slash = target_.rfind('/');
    const std::string base = slash == std::string::npos ? target_ : target_.substr(slash + 1);
    const size_t dot = base.rfind('.');
    const std::string ext = dot == std::string::npos || dot == 0 ? std::string() : base.substr(dot);
    for (int attempt = 0; fd_ < 0; ++attempt) {
        writing_ =
            dir + "/." + base + ".tmp" + std::to_string(getpid()) + "-" + std::to_string(attempt) + ext;
        fd_ = open(writing_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd_ < 0 && (errno != EEXIST || attempt > 100))
            fail("cannot create a file in directory '" + dir + "' for", errno);
    }
    slot_ = claimSlot(writing_);
}

OutputFile::~OutputFile()
{
    if (committed_)
        return;
    if (fd_ >= 0 && !stdout_)
        close(fd_);
    if (!inPlace_)
        unlink(writing_.c_str());
    releaseSlot(slot_);
}

void OutputFile::fail(const std::string& what, int err)
{
    throw MediaError(what + " '" + path_ + "': " + std::strerror(err));
}

void OutputFile::write(const void* bytes, size_t size)
{
    const char* p = static_cast<const char*>(bytes);
    while (size > 0) {
        const ssize_t n = ::write(fd_, p, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            fail("cannot write", n < 0 ? errno : ENOSPC);
        p += n;
        size -= size_t(n);
    }
}

long long OutputFile::seek(long long offset, int whence)
{
    if (inPlace_)
        return -ESPIPE;
    const off_t r = lseek(fd_, off_t(offset), whence);
    return r < 0 ? -errno : (long long)r;
}

void OutputFile::commit()
{
    if (stdout_) {
        committed_ = true;
        return;
    }
    const int fd = fd_;
    fd_ = -1;
    if (close(fd) != 0) {
        const int err = errno;
        if (!inPlace_)
            unlink(writing_.c_str());
        releaseSlot(slot_);
        committed_ = true;
        fail("cannot write", err);
    }
    if (!inPlace_ && std::rename(writing_.c_str(), target_.c_str()) != 0) {
        const int err = errno;
        unlink(writing_.c_str());
        releaseSlot(slot_);
        committed_ = true;
        fail("cannot rename the finished file to", err);
    }
    releaseSlot(slot_);
    committed_ = true;
}

} // namespace media
