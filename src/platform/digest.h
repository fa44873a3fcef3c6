// Message digests: the calls of OpenSSL's libcrypto 3 that the product makes, one to one. A context belongs to the
// caller, who releases it with MdCtxFree, and stays on one thread at a time. False is the library's failure; of it
// nothing more is known.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace tavi::platform {

enum class DigestContext : std::uintptr_t {};
inline constexpr DigestContext kNoDigestContext{0};

class Digest {
public:
    virtual ~Digest() = default;

    // OPENSSL_init_crypto without settings. The library keeps the options that it gets first in the process.
    virtual bool InitCrypto(std::uint64_t options) = 0;
    virtual DigestContext MdCtxNew() = 0;                      // EVP_MD_CTX_new; kNoDigestContext on failure
    virtual bool DigestInitSha256(DigestContext context) = 0;  // EVP_DigestInit_ex with EVP_sha256
    virtual bool DigestUpdate(DigestContext context, std::span<const std::byte> bytes) = 0;
    // EVP_DigestFinal_ex; `output` holds at least 64 bytes (EVP_MAX_MD_SIZE), of which `length` are written.
    virtual bool DigestFinal(DigestContext context, std::span<std::byte> output, std::uint32_t& length) = 0;
    virtual void MdCtxFree(DigestContext context) = 0;  // EVP_MD_CTX_free; kNoDigestContext is allowed
};

}  // namespace tavi::platform
