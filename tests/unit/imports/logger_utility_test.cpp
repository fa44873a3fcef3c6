#include "imports/logger_utility.h"

#include <gtest/gtest.h>

namespace Drive {
namespace {

class OneText : public tavi::platform::SystemErrors {
public:
    explicit OneText(std::u16string text) : text_(std::move(text)) {}
    std::uint32_t GetLastError() override { return 0; }
    std::u16string FormatMessageW(std::uint32_t code) override {
        askedFor = code;
        return text_;
    }

    std::uint32_t askedFor = 0;

private:
    std::u16string text_;
};

TEST(GetErrorMessage, IsTheSystemsTextOnOneLineWithoutTrailingBlanks) {
    OneText errors(u"Access is denied.\r\n");
    EXPECT_EQ(LoggerUtility::GetErrorMessage(errors, 5), "Access is denied.");
    EXPECT_EQ(errors.askedFor, 5u);
}

TEST(GetErrorMessage, LineBreaksInsideBecomeOneBlank) {
    OneText errors(u" first\r\n\tsecond \n third \r\n");
    EXPECT_EQ(LoggerUtility::GetErrorMessage(errors, 1), "first second third");
}

TEST(GetErrorMessage, IsUtf8) {
    OneText errors(u"\u62D2\u7EDD\u8BBF\u95EE\u3002\r\n");
    EXPECT_EQ(LoggerUtility::GetErrorMessage(errors, 5),
              "\xE6\x8B\x92\xE7\xBB\x9D\xE8\xAE\xBF\xE9\x97\xAE\xE3\x80\x82");
}

TEST(GetErrorMessage, IsEmptyForACodeWithoutText) {
    OneText errors(u"");
    EXPECT_EQ(LoggerUtility::GetErrorMessage(errors, 0xDEAD), "");
}

}  // namespace
}  // namespace Drive
