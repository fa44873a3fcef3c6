// The digest seam over OpenSSL's libcrypto: each call hands its arguments on. Portable; objects have no state, so any
// thread may use one.
#pragma once

#include "platform/digest.h"

namespace tavi::platform {

class NativeDigest final : public Digest {
public:
    bool InitCrypto(std::uint64_t options) override;
    DigestContext MdCtxNew() override;
    bool DigestInitSha256(DigestContext context) override;
    bool DigestUpdate(DigestContext context, std::span<const std::byte> bytes) override;
    bool DigestFinal(DigestContext context, std::span<std::byte> output, std::uint32_t& length) override;
    void MdCtxFree(DigestContext context) override;
};

}  // namespace tavi::platform
