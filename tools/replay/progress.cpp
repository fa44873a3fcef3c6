#include "replay/progress.h"

#include <cstdio>
#include <utility>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#else
#include <unistd.h>
#endif

namespace tavi::replay {
namespace {

constexpr std::chrono::milliseconds kFirstDelay{1000};
constexpr std::chrono::milliseconds kInterval{200};

}  // namespace

Progress::Progress(std::ostream& output, bool isTerminal, Clock clock)
    : output_(output), isTerminal_(isTerminal), clock_(std::move(clock)), next_(clock_() + kFirstDelay) {}

void Progress::Show(const std::string& state) {
    const auto now = clock_();
    if (!isTerminal_ || now < next_) {
        return;
    }
    next_ = now + kInterval;
    isShown_ = true;
    output_ << "\r" << state << "\x1b[K" << std::flush;
}

void Progress::Wipe() {
    if (isShown_) {
        output_ << "\r\x1b[K" << std::flush;
        isShown_ = false;
    }
}

#ifdef _WIN32
bool ErrorStreamIsTerminal() {
    return _isatty(_fileno(stderr)) != 0;
}

void MakeStandardStreamsBinary() {
    _setmode(_fileno(stdin), _O_BINARY);
    _setmode(_fileno(stdout), _O_BINARY);
}
#else
bool ErrorStreamIsTerminal() {
    return isatty(STDERR_FILENO) != 0;
}

void MakeStandardStreamsBinary() {}
#endif

}  // namespace tavi::replay
