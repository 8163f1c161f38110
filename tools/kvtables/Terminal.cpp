#include "Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace kvtables {

int TerminalWidth(int fd)
{
    if (const char* env = std::getenv("COLUMNS")) {
        char* end = nullptr;
        long n = std::strtol(env, &end, 10);
        if (end != env && *end == '\0' && n > 0 && n < 100000) return static_cast<int>(n);
    }
    struct winsize ws {};
    if (isatty(fd) && ioctl(fd, TIOCGWINSZ, &ws) == 0 && ws.ws_col > 0) return ws.ws_col;
    return 0;
}

Progress::Progress(std::string label, std::uint64_t total)
    : _label(std::move(label)), _total(total), _enabled(total > 0 && isatty(STDERR_FILENO))
{
}

Progress::~Progress() { Finish(); }

void Progress::Update(std::uint64_t done)
{
    if (!_enabled) return;
    int percent = static_cast<int>(done >= _total ? 100 : done * 100 / _total);
    if (percent == _shown) return;
    _shown = percent;
    std::fprintf(stderr, "\r%s %3d%%", _label.c_str(), percent);
    std::fflush(stderr);
}

void Progress::Finish()
{
    if (!_enabled || _shown < 0) return;
    std::fprintf(stderr, "\r%*s\r", static_cast<int>(_label.size()) + 5, "");
    std::fflush(stderr);
    _shown = -1;
}

}  // namespace kvtables
