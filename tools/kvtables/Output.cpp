#include "Output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "Renderers.h"
#include "UserError.h"

namespace kvtables {

namespace {

[[noreturn]] void Fail(const std::string& where, int error)
{
    throw UserError(where + ": cannot write the output: " + std::strerror(error));
}

// Every byte, or the error number of the write that failed.
int WriteAll(int fd, const std::string& text)
{
    const char* at = text.data();
    size_t left = text.size();
    while (left > 0) {
        const ssize_t n = ::write(fd, at, left);
        if (n < 0) {
            if (errno == EINTR) continue;
            return errno;
        }
        at += n;
        left -= static_cast<size_t>(n);
    }
    return 0;
}

// Straight into what is already there: a device, a pipe, a file we cannot
// replace without losing what it is.
void WriteThrough(const std::string& path, const std::string& text)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0) Fail(path, errno);
    int error = WriteAll(fd, text);
    if (::close(fd) != 0 && error == 0) error = errno;
    if (error != 0) Fail(path, error);
}

// A regular file (or none yet) is replaced whole: the text goes to a unique
// file beside it, which takes the old file's mode and is renamed over it once
// every byte is on disk. Readers never see half a file, and two runs writing
// the same path leave one complete result.
void Replace(const std::string& path, mode_t mode, const std::string& text)
{
    const size_t slash = path.rfind('/');
    const std::string dir = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    std::string temp = dir + "." + name + ".XXXXXX";
    const int fd = ::mkstemp(temp.data());
    if (fd < 0) Fail(path, errno);
    int error = ::fchmod(fd, mode) != 0 ? errno : 0;
    if (error == 0) error = WriteAll(fd, text);
    // A full disk may only show when the data are flushed.
    if (error == 0 && ::fsync(fd) != 0) error = errno;
    if (::close(fd) != 0 && error == 0) error = errno;
    if (error == 0 && ::rename(temp.c_str(), path.c_str()) != 0) error = errno;
    if (error != 0) {
        ::unlink(temp.c_str());
        Fail(path, error);
    }
}

}  // namespace

std::string Render(const ResultSet& results, const std::string& format, int width)
{
    if (format == "json") return RenderJson(results);
    if (format == "csv") return RenderCsv(results);
    if (format == "html") return RenderHtml(results);
    if (format == "xlsx") return RenderXlsx(results);
    if (format == "text") return RenderText(results, TextOptions{width});
    throw UserError("unknown output format " + Quote(format));
}

void WriteOutput(const std::string& text, const std::string& path)
{
    if (path.empty()) {
        if (const int error = WriteAll(STDOUT_FILENO, text)) Fail("standard output", error);
        return;
    }
    struct stat st;
    if (::lstat(path.c_str(), &st) != 0) {
        if (errno != ENOENT) Fail(path, errno);
        const mode_t mask = ::umask(0);
        ::umask(mask);
        Replace(path, 0666 & ~mask, text);
        return;
    }
    if (S_ISLNK(st.st_mode)) {
        // The link stays; what it points to gets the output.
        char target[PATH_MAX];
        if (::realpath(path.c_str(), target) == nullptr || ::stat(target, &st) != 0 || !S_ISREG(st.st_mode)) {
            WriteThrough(path, text);
            return;
        }
        Replace(target, st.st_mode & 07777, text);
        return;
    }
    if (!S_ISREG(st.st_mode)) {
        WriteThrough(path, text);
        return;
    }
    Replace(path, st.st_mode & 07777, text);
}

}  // namespace kvtables
