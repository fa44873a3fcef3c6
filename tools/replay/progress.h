// Progress on a terminal: one line of the error stream, rewritten a few times a second and wiped at the end. Nothing
// appears when the error stream is no terminal, or before the first second is over. One thread.
#pragma once

#include <chrono>
#include <functional>
#include <ostream>
#include <string>

namespace tavi::replay {

class Progress {
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    // Shows on `output` when `isTerminal`.
    Progress(std::ostream& output, bool isTerminal, Clock clock = std::chrono::steady_clock::now);
    ~Progress() { Wipe(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Show(const std::string& state);
    void Wipe();

private:
    std::ostream& output_;
    bool isTerminal_;
    Clock clock_;
    bool isShown_ = false;
    std::chrono::steady_clock::time_point next_;
};

bool ErrorStreamIsTerminal();
// Input and output are bytes: no line-end conversion on any system.
void MakeStandardStreamsBinary();

}  // namespace tavi::replay
