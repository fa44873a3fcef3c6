// A service pipe for tests: each call takes the next answer from its script, and time passes only when a call says so.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <vector>

#include "tavi_client/service_pipe.h"

namespace tavi::client {

struct ScriptedCall {
    std::string name;
    std::uint32_t error = 0;
    std::vector<std::uint8_t> message{};  // what a Read brings
    std::uint64_t takes = 0;              // milliseconds
};

class ScriptedPipe final : public ServicePipe {
public:
    explicit ScriptedPipe(std::vector<ScriptedCall> script) : script_(script.begin(), script.end()) {}
    ~ScriptedPipe() override { EXPECT_TRUE(script_.empty()) << "not called: " << script_.front().name; }

    std::uint32_t Open() override {
        EXPECT_FALSE(open_);
        const auto call = Next("Open");
        open_ = call.error == 0;
        return call.error;
    }
    std::uint32_t WaitForInstance(std::uint32_t timeout) override {
        timeouts.push_back(timeout);
        return Next("WaitForInstance").error;
    }
    std::uint32_t Write(std::span<const std::uint8_t> message, std::uint32_t timeout) override {
        timeouts.push_back(timeout);
        written.emplace_back(message.begin(), message.end());
        return Next("Write").error;
    }
    std::uint32_t Read(std::vector<std::uint8_t>& message, std::uint32_t timeout) override {
        timeouts.push_back(timeout);
        auto call = Next("Read");
        message = call.message;
        return call.error;
    }
    void Close() override { open_ = false; }
    std::uint64_t NowMilliseconds() override { return now_; }
    void Sleep(std::uint32_t milliseconds) override { now_ += milliseconds; }

    bool IsOpen() const { return open_; }

    std::vector<std::vector<std::uint8_t>> written;
    std::vector<std::uint32_t> timeouts;

private:
    ScriptedCall Next(const std::string& name) {
        if (script_.empty() || script_.front().name != name) {
            ADD_FAILURE() << "unexpected call: " << name;
            return {name, 1};
        }
        ScriptedCall call = script_.front();
        script_.pop_front();
        now_ += call.takes;
        return call;
    }

    std::deque<ScriptedCall> script_;
    std::uint64_t now_ = 5000;
    bool open_ = false;
};

inline std::vector<std::uint8_t> ReplyBytes(std::uint8_t status) {
    return {8, 0, 0, 0, status, 0, 0, 0};
}

}  // namespace tavi::client
