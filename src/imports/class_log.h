// The error log of one class: its tag is said once, here, and its lines are written through it. Nothing is thrown,
// whatever memory there is: a line that cannot be put together goes without its end. Any thread.
#pragma once

#include <cstdint>
#include <string_view>

namespace Drive {

class ClassLog {
public:
    constexpr explicit ClassLog(std::string_view classTag) : classTag_(classTag) {}

    void Error(std::string_view function, std::string_view message) const noexcept;
    // The message directly followed by the code, in decimal, or by a text.
    void Error(std::string_view function, std::string_view message, std::int64_t code) const noexcept;
    void Error(std::string_view function, std::string_view message, std::string_view end) const noexcept;

    constexpr std::string_view classTag() const { return classTag_; }

private:
    std::string_view classTag_;
};

// Every class tag of the service. Two operations of the database log under a spelling of their own, and so does one
// line of the journal.
inline constexpr ClassLog kDigitalSignatureLog("DigitalSignature");
inline constexpr ClassLog kFileChangeRecordLog("FileChangeRecord");
inline constexpr ClassLog kDeviatingFileChangeRecordLog("File change record");
inline constexpr ClassLog kListenServiceBaseLog("ListenServiceBase");
inline constexpr ClassLog kListenServiceImplLog("ListenServiceImpl");
inline constexpr ClassLog kSqLite3OperatorLog("SqLite3Operator");
inline constexpr ClassLog kDeviatingSqLite3OperatorLog("SQLite3Operator");
inline constexpr ClassLog kUtilLog("Util");

}  // namespace Drive
