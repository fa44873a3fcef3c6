// The client's end of the service's pipe, as calls without decisions: each does what it says once and returns 0 or the
// system's error code. Time-outs are in milliseconds; a call that runs out of time is cancelled and returns
// kErrorTimeout. Used by one thread; an open pipe is closed by the next Open, by Close or by the destructor.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace tavi::client {

inline constexpr std::uint32_t kErrorTimeout = 258;           // WAIT_TIMEOUT
inline constexpr std::uint32_t kErrorSemaphoreTimeout = 121;  // how waiting for an instance runs out of time

class ServicePipe {
public:
    virtual ~ServicePipe() = default;

    virtual std::uint32_t Open() = 0;
    virtual std::uint32_t WaitForInstance(std::uint32_t timeout) = 0;
    virtual std::uint32_t Write(std::span<const std::uint8_t> message, std::uint32_t timeout) = 0;
    // One message of at most 64 bytes; a longer one fails with the system's code for that.
    virtual std::uint32_t Read(std::vector<std::uint8_t>& message, std::uint32_t timeout) = 0;
    virtual void Close() = 0;

    virtual std::uint64_t NowMilliseconds() = 0;  // since any fixed moment, never backwards
    virtual void Sleep(std::uint32_t milliseconds) = 0;
};

// The service's own pipe. On Windows only.
std::unique_ptr<ServicePipe> MakeServicePipe();

}  // namespace tavi::client
