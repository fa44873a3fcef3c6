#include "util/sha256.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>

#include "imports/exception_edge.h"
#include "imports/type_convert.h"

namespace tavi::util {
namespace {

constexpr std::string_view kFunction = "ShA256Encode:";
constexpr std::size_t kDigestBytes = 32;
constexpr std::size_t kLongestDigestBytes = 64;  // what the library may write, whatever the algorithm

// The first digest of a process would load the configuration that OPENSSL_CONF or the library's own folder names, and
// the modules that it asks for. So no context is made before the library has been told to load none.
platform::DigestContext NewContext(platform::Digest& digest) {
    return digest.InitCrypto(kInitWithoutConfiguration) ? digest.MdCtxNew() : platform::kNoDigestContext;
}

class Context {
public:
    explicit Context(platform::Digest& digest) : digest_(digest), context_(NewContext(digest)) {}
    ~Context() {
        if (context_ != platform::kNoDigestContext) {
            digest_.MdCtxFree(context_);
        }
    }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    platform::DigestContext get() const { return context_; }

private:
    platform::Digest& digest_;
    platform::DigestContext context_;
};

std::u16string Failure(std::string_view message) {
    Drive::kUtilLog.Error(kFunction, message);
    return {};
}

std::u16string Hexadecimal(std::span<const std::byte> bytes) {
    std::string text;
    for (const std::byte byte : bytes) {
        std::array<char, 3> digits{};
        if (std::snprintf(digits.data(), digits.size(), "%02x", std::to_integer<unsigned>(byte)) != 2) {
            return {};
        }
        text += digits.data();
    }
    return TypeConvert::StringToWString(text);
}

std::u16string Encode(platform::Digest& digest, std::string_view text) {
    const Context context(digest);
    if (context.get() == platform::kNoDigestContext) {
        return Failure("Message digest new failed");
    }
    if (!digest.DigestInitSha256(context.get())) {
        return Failure("Message digest initialization failed");
    }
    if (!digest.DigestUpdate(context.get(), std::as_bytes(std::span(text.data(), text.size())))) {
        return Failure("Message digest update failed");
    }
    std::array<std::byte, kLongestDigestBytes> output{};
    std::uint32_t length = 0;
    if (!digest.DigestFinal(context.get(), output, length)) {
        return Failure("Message digest final failed");
    }
    if (length > kDigestBytes) {
        return Failure("Message digest length failed");
    }
    return Hexadecimal(std::span(output).first(length));
}

}  // namespace

std::u16string ShA256Encode(platform::Platform& platform, std::u16string_view text) {
    std::u16string name;  // an empty one is what callers check for
    Drive::EndExceptions([&] { name = Encode(platform.digest, TypeConvert::WStringToString(text)); });
    return name;
}

}  // namespace tavi::util
