#include "platform/native_digest.h"

#include <gtest/gtest.h>
#include <openssl/crypto.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "unit/platform/digest_breaking_configuration.h"

namespace tavi::platform {
namespace {

std::string Sha256(std::string_view first, std::string_view second) {
    constexpr std::uint64_t kNoLoadConfig = OPENSSL_INIT_NO_LOAD_CONFIG;
    NativeDigest digest;
    EXPECT_TRUE(digest.InitCrypto(kNoLoadConfig));
    const DigestContext context = digest.MdCtxNew();
    EXPECT_NE(context, kNoDigestContext);
    std::array<std::byte, 64> output{};
    std::uint32_t length = 0;
    EXPECT_TRUE(digest.DigestInitSha256(context));
    EXPECT_TRUE(digest.DigestUpdate(context, std::as_bytes(std::span(first))));
    EXPECT_TRUE(digest.DigestUpdate(context, std::as_bytes(std::span(second))));
    EXPECT_TRUE(digest.DigestFinal(context, output, length));
    digest.MdCtxFree(context);
    std::string text;
    for (std::uint32_t i = 0; i < length; ++i) {
        char two[3];
        std::snprintf(two, sizeof two, "%02x", std::to_integer<unsigned>(output[i]));
        text += two;
    }
    return text;
}

// The examples of FIPS 180-2.
TEST(NativeDigest, GivesThePublishedDigests) {
    EXPECT_EQ(Sha256("", ""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(Sha256("abc", ""), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(Sha256("abcdbcdecdefdefgefghfghighijhijk", "ijkljklmklmnlmnomnopnopq"),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

[[noreturn]] void ExitWithZeroIfDigestsAreRightDespiteAConfiguration() {
    testing::NameADigestBreakingConfiguration("unit_platform");
    const bool right = Sha256("abc", "") == "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
    std::_Exit(right ? 0 : 1);
}

TEST(NativeDigest, NoConfigurationIsLoaded) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(ExitWithZeroIfDigestsAreRightDespiteAConfiguration(), ::testing::ExitedWithCode(0), "");
}

TEST(NativeDigest, FreeingNoContextIsAllowed) {
    NativeDigest digest;
    digest.MdCtxFree(kNoDigestContext);
    EXPECT_EQ(Sha256("a", "bc"), Sha256("ab", "c"));
}

}  // namespace
}  // namespace tavi::platform
