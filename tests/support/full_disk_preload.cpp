// Preloaded (LD_PRELOAD) into a program under test: the folder named by FULL_DISK_FOLDER (a
// canonical path) behaves as if its filesystem were full. A write that would make a file there
// longer fails with ENOSPC and writes nothing; rewriting bytes a file already has, creating,
// renaming, truncating and deleting files work, as they do on a full disk. Files elsewhere are
// untouched.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool onFullDisk(int fd)
{
    const char* folder = std::getenv("FULL_DISK_FOLDER");
    if (!folder || !*folder)
        return false;
    char link[64];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    char target[4096];
    const ssize_t size = ::readlink(link, target, sizeof target - 1);
    if (size <= 0)
        return false;
    target[size] = '\0';
    const std::size_t length = std::strlen(folder);
    return std::strncmp(target, folder, length) == 0 && target[length] == '/';
}

// Whether `count` bytes at `offset` (-1: where the file's position is) need room.
bool needsRoom(int fd, off_t offset, std::size_t count)
{
    struct stat st {};
    if (count == 0 || ::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || !onFullDisk(fd))
        return false;
    if (offset < 0)
        offset = (::fcntl(fd, F_GETFL) & O_APPEND) ? st.st_size : ::lseek(fd, 0, SEEK_CUR);
    return offset + off_t(count) > st.st_size;
}

template <typename Function> Function next(const char* name)
{
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

template <typename Result> Result full()
{
    errno = ENOSPC;
    return Result(-1);
}

} // namespace

extern "C" {

ssize_t write(int fd, const void* data, size_t count)
{
    static const auto real = next<ssize_t (*)(int, const void*, size_t)>("write");
    return needsRoom(fd, -1, count) ? full<ssize_t>() : real(fd, data, count);
}

ssize_t pwrite(int fd, const void* data, size_t count, off_t offset)
{
    static const auto real = next<ssize_t (*)(int, const void*, size_t, off_t)>("pwrite");
    return needsRoom(fd, offset, count) ? full<ssize_t>() : real(fd, data, count, offset);
}

ssize_t pwrite64(int fd, const void* data, size_t count, off_t offset)
{
    static const auto real = next<ssize_t (*)(int, const void*, size_t, off_t)>("pwrite64");
    return needsRoom(fd, offset, count) ? full<ssize_t>() : real(fd, data, count, offset);
}

int fallocate(int fd, int mode, off_t offset, off_t length)
{
    static const auto real = next<int (*)(int, int, off_t, off_t)>("fallocate");
    return needsRoom(fd, offset, std::size_t(length)) ? full<int>()
                                                      : real(fd, mode, offset, length);
}

// Reports its error as its result, not in errno.
int posix_fallocate(int fd, off_t offset, off_t length)
{
    static const auto real = next<int (*)(int, off_t, off_t)>("posix_fallocate");
    return needsRoom(fd, offset, std::size_t(length)) ? ENOSPC : real(fd, offset, length);
}

} // extern "C"
