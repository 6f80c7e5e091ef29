// The 16-bit style file calls for native builds, on POSIX descriptors.
#include "platform/win32.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

int AccessFlags(int mode)
{
    switch (mode & 3) {
    case OF_WRITE: return O_WRONLY;
    case OF_READWRITE: return O_RDWR;
    default: return O_RDONLY;
    }
}

// Windows' error numbers for the few failures a caller may look at.
WORD ErrorCode(int err)
{
    switch (err) {
    case ENOENT: return 2;   // file not found
    case ENOTDIR: return 3;  // path not found
    case EMFILE: return 4;
    case EACCES:
    case EPERM:
    case EISDIR: return 5;   // access denied
    default: return static_cast<WORD>(err);
    }
}

// The full path of a name into out, as OpenFile keeps it; false when it
// doesn't fit OFS_MAXPATHNAME, which Windows refuses rather than cut.
bool FullPath(LPCSTR path, LPSTR out)
{
    char resolved[PATH_MAX];
    out[0] = 0;
    if (!realpath(path, resolved)) {
        char cwd[PATH_MAX];
        size_t used = 0;
        if (path[0] != '/' && getcwd(cwd, sizeof cwd)) used = strlen(cwd);
        if (used + 1 + strlen(path) >= sizeof resolved) return false;
        memcpy(resolved, cwd, used);
        if (used) resolved[used++] = '/';
        strcpy(resolved + used, path);
    }
    if (strlen(resolved) >= OFS_MAXPATHNAME) return false;
    strcpy(out, resolved);
    return true;
}

}  // namespace

HFILE _lopen(LPCSTR path, int mode)
{
    int fd = open(path, AccessFlags(mode) | O_CLOEXEC);
    return fd < 0 ? HFILE_ERROR : fd;
}

HFILE _lcreat(LPCSTR path, int)
{
    int fd = open(path, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    return fd < 0 ? HFILE_ERROR : fd;
}

long _hread(HFILE file, LPVOID buffer, long bytes)
{
    if (bytes < 0) return HFILE_ERROR;
    char* at = static_cast<char*>(buffer);
    long done = 0;
    while (done < bytes) {
        ssize_t got = read(file, at + done, static_cast<size_t>(bytes - done));
        if (got < 0) {
            if (errno == EINTR) continue;
            return HFILE_ERROR;
        }
        if (got == 0) break;
        done += got;
    }
    return done;
}

long _hwrite(HFILE file, LPCCH buffer, long bytes)
{
    if (bytes < 0) return HFILE_ERROR;
    long done = 0;
    while (done < bytes) {
        ssize_t put = write(file, buffer + done, static_cast<size_t>(bytes - done));
        if (put < 0) {
            if (errno == EINTR) continue;
            return HFILE_ERROR;
        }
        done += put;
    }
    // As on Windows, a zero-length write truncates the file at the position.
    if (bytes == 0) {
        off_t at = lseek(file, 0, SEEK_CUR);
        if (at < 0 || ftruncate(file, at) != 0) return HFILE_ERROR;
    }
    return done;
}

UINT _lread(HFILE file, LPVOID buffer, UINT bytes)
{
    if (bytes > static_cast<UINT>(LONG_MAX)) return static_cast<UINT>(HFILE_ERROR);
    long got = _hread(file, buffer, static_cast<long>(bytes));
    return got < 0 ? static_cast<UINT>(HFILE_ERROR) : static_cast<UINT>(got);
}

UINT _lwrite(HFILE file, LPCCH buffer, UINT bytes)
{
    long put = _hwrite(file, buffer, static_cast<long>(bytes));
    return put < 0 ? static_cast<UINT>(HFILE_ERROR) : static_cast<UINT>(put);
}

LONG _llseek(HFILE file, LONG offset, int origin)
{
    int whence = origin == FILE_END ? SEEK_END : origin == FILE_CURRENT ? SEEK_CUR : SEEK_SET;
    off_t at = lseek(file, offset, whence);
    if (at < 0 || at > 0x7FFFFFFF) return HFILE_ERROR;
    return static_cast<LONG>(at);
}

HFILE _lclose(HFILE file) { return close(file) == 0 ? 0 : HFILE_ERROR; }

HFILE OpenFile(LPCSTR path, LPOFSTRUCT info, UINT style)
{
    memset(info, 0, sizeof *info);
    info->cBytes = sizeof *info;
    info->fFixedDisk = 1;
    if (!FullPath(path, info->szPathName)) {
        info->nErrCode = 206;  // the name is too long
        return HFILE_ERROR;
    }
    if (style & OF_PARSE) return 0;
    if (style & OF_DELETE) {
        if (unlink(path) == 0) return 1;
        info->nErrCode = ErrorCode(errno);
        return HFILE_ERROR;
    }
    int fd;
    if (style & OF_CREATE)
        fd = open(path, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    else
        fd = open(path, AccessFlags(static_cast<int>(style)) | O_CLOEXEC);
    if (fd < 0) {
        info->nErrCode = ErrorCode(errno);
        return HFILE_ERROR;
    }
    struct stat st;
    if (fstat(fd, &st) == 0 && S_ISDIR(st.st_mode)) {
        // Windows can't open a folder as a file.
        close(fd);
        info->nErrCode = 5;
        return HFILE_ERROR;
    }
    if (style & OF_EXIST) {
        // Windows opens and closes the file; the value only says it exists.
        close(fd);
        return 1;
    }
    return fd;
}

BOOL DeleteFileA(LPCSTR path) { return unlink(path) == 0; }
