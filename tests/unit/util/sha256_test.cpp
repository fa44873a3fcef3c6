#include "util/sha256.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>
#include <utility>

#include "sim/captured_log.h"
#include "sim/machine.h"
#include "support/platform_with.h"

namespace tavi::util {
namespace {

class Sha256 : public ::testing::Test {
protected:
    std::u16string Encode(std::u16string_view text) { return ShA256Encode(platform_, text); }
    void ExpectFailure(const char* call, const char* message) {
        log_.Clear();
        machine_.faults().Fail({.call = call});
        EXPECT_EQ(Encode(u"user"), u"");
        machine_.faults().Clear();
        EXPECT_EQ(log_.Lines().size(), 1U) << call;
        EXPECT_TRUE(log_.HasError("Util", "ShA256Encode:", message)) << log_.Dump();
        EXPECT_TRUE(machine_.leaks().empty()) << call;
    }

    sim::Machine machine_;
    sim::CapturedLog log_;
    platform::Platform platform_ = machine_.platform();
};

// Expected values: FIPS 180-2's examples and its digest of no bytes.
TEST_F(Sha256, EmptyTextHasTheDigestOfZeroBytesInLowerCase) {
    EXPECT_EQ(Encode(u""), u"e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST_F(Sha256, PublishedExamples) {
    EXPECT_EQ(Encode(u"abc"), u"ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(Encode(u"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              u"248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

TEST_F(Sha256, IsTakenOverTheUtf8Bytes) {
    // printf '\303\274' | sha256sum
    EXPECT_EQ(Encode(u"\u00FC"), u"607474ca475a9724d7360aba71a56d5df77e61350e3f724cfa1f46e857e2d85f");
}

TEST_F(Sha256, IsAlways64LowerCaseDigits) {
    for (const char16_t* text :
         {u"a", u"user@example.com", u"\U0001F4C1", u"0123456789012345678901234567890123456789"}) {
        const std::u16string digest = Encode(text);
        EXPECT_EQ(digest.size(), 64U);
        EXPECT_TRUE(std::ranges::all_of(
            digest, [](char16_t unit) { return (unit >= u'0' && unit <= u'9') || (unit >= u'a' && unit <= u'f'); }));
    }
}

TEST_F(Sha256, EachFailingStepIsLoggedAndGivesAnEmptyText) {
    ExpectFailure("Digest.InitCrypto", "Message digest new failed");
    ExpectFailure("Digest.MdCtxNew", "Message digest new failed");
    ExpectFailure("Digest.DigestInitSha256", "Message digest initialization failed");
    ExpectFailure("Digest.DigestUpdate", "Message digest update failed");
    ExpectFailure("Digest.DigestFinal", "Message digest final failed");
}

// A digest library that answers as it is told.
class ToldDigest final : public platform::Digest {
public:
    explicit ToldDigest(std::uint32_t length) : length_(length) {}

    bool InitCrypto(std::uint64_t options) override {
        told = options;
        return true;
    }
    platform::DigestContext MdCtxNew() override {
        EXPECT_EQ(told, kInitWithoutConfiguration) << "a context before the library was told to load nothing";
        ++open;
        return platform::DigestContext{1};
    }
    bool DigestInitSha256(platform::DigestContext) override { return true; }
    bool DigestUpdate(platform::DigestContext, std::span<const std::byte>) override {
        if (length_ == 0) {
            throw std::runtime_error("broken");
        }
        return true;
    }
    bool DigestFinal(platform::DigestContext, std::span<std::byte> output, std::uint32_t& length) override {
        std::ranges::fill(output, std::byte{0x0A});
        length = length_;
        return output.size() >= 64;
    }
    void MdCtxFree(platform::DigestContext) override { --open; }

    std::uint64_t told = 0;
    int open = 0;

private:
    std::uint32_t length_;
};

platform::Platform With(platform::Platform& real, platform::Digest& digest) {
    return test::PlatformWith(real, digest);
}

TEST_F(Sha256, DigestThatIsTooLongIsRefused) {
    for (const auto& [length, accepted] : {std::pair(32U, true), std::pair(33U, false), std::pair(64U, false)}) {
        log_.Clear();
        ToldDigest digest(length);
        platform::Platform platform = With(platform_, digest);
        EXPECT_EQ(!ShA256Encode(platform, u"user").empty(), accepted) << length;
        EXPECT_EQ(log_.HasError("Util", "ShA256Encode:", "Message digest length failed"), !accepted);
        EXPECT_EQ(digest.open, 0);
    }
}

TEST_F(Sha256, EveryByteGetsTwoDigits) {
    ToldDigest digest(32);
    platform::Platform platform = With(platform_, digest);
    std::u16string expected;
    for (int i = 0; i < 32; ++i) {
        expected += u"0a";
    }
    EXPECT_EQ(ShA256Encode(platform, u"user"), expected);
}

TEST_F(Sha256, NothingIsThrownAndTheContextIsReleased) {
    ToldDigest digest(0);
    platform::Platform platform = With(platform_, digest);
    EXPECT_EQ(ShA256Encode(platform, u"user"), u"");
    EXPECT_EQ(digest.open, 0);
}

}  // namespace
}  // namespace tavi::util
