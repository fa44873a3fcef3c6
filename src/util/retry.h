// Trying again what failed only because others were busy, with one meaning for each word, here and in constants' names:
//
//   attempt   one try; the first one counts
//   retry     an attempt after the first, so that N retries are N + 1 attempts
//   pause     the wait before a retry; there is none after the last attempt
//
// Which result is worth a retry, and how long a pause is, belongs to the caller. Throws what the caller's functions
// throw; keeps nothing; any thread.
#pragma once

namespace tavi::util {

// Calls `attempt` once, and then, while `isWorthARetry(result)`, up to `retries` times more with `pause()` before each.
// Returns the last result. It is unknown to the caller, and seldom matters, which attempt that was.
template <typename Attempt, typename IsWorthARetry, typename Pause>
auto TryWithRetries(int retries, Attempt attempt, IsWorthARetry isWorthARetry, Pause pause) {
    auto result = attempt();
    for (int retry = 0; retry < retries && isWorthARetry(result); ++retry) {
        pause();
        result = attempt();
    }
    return result;
}

}  // namespace tavi::util
