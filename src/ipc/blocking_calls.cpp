#include "ipc/blocking_calls.h"

namespace tavi::ipc {
namespace {

constexpr std::uint32_t kPauseWhileCancelledMs = 1;

}  // namespace

void BlockingCalls::End() {
    State expected = State::kUnderWay;
    while (!state_.compare_exchange_strong(expected, State::kNone)) {
        threads_.Sleep(kPauseWhileCancelledMs);
        expected = State::kUnderWay;
    }
}

bool BlockingCalls::CancelUnderWay(const std::function<void()>& cancel) {
    State expected = State::kUnderWay;
    if (!state_.compare_exchange_strong(expected, State::kBeingCancelled)) {
        return false;
    }
    cancel();
    expected = State::kBeingCancelled;
    state_.compare_exchange_strong(expected, State::kUnderWay);
    return true;
}

}  // namespace tavi::ipc
