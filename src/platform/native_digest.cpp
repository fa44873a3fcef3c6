#include "platform/native_digest.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

namespace tavi::platform {

namespace {

EVP_MD_CTX* ToNative(DigestContext context) {
    return reinterpret_cast<EVP_MD_CTX*>(context);
}

}  // namespace

bool NativeDigest::InitCrypto(std::uint64_t options) {
    return OPENSSL_init_crypto(options, nullptr) == 1;
}

DigestContext NativeDigest::MdCtxNew() {
    return static_cast<DigestContext>(reinterpret_cast<std::uintptr_t>(EVP_MD_CTX_new()));
}

bool NativeDigest::DigestInitSha256(DigestContext context) {
    return EVP_DigestInit_ex(ToNative(context), EVP_sha256(), nullptr) == 1;
}

bool NativeDigest::DigestUpdate(DigestContext context, std::span<const std::byte> bytes) {
    return EVP_DigestUpdate(ToNative(context), bytes.data(), bytes.size()) == 1;
}

bool NativeDigest::DigestFinal(DigestContext context, std::span<std::byte> output, std::uint32_t& length) {
    unsigned int written = 0;
    const int result = EVP_DigestFinal_ex(ToNative(context), reinterpret_cast<unsigned char*>(output.data()), &written);
    length = written;
    return result == 1;
}

void NativeDigest::MdCtxFree(DigestContext context) {
    EVP_MD_CTX_free(ToNative(context));
}

}  // namespace tavi::platform
