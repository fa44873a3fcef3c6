// The digest seam over OpenSSL's libcrypto. Portable; without state, so any thread may use one object. A context
// belongs to the caller, who releases it with MdCtxFree (null is allowed).
#pragma once

#include "platform/digest.h"

namespace tavi::platform {

class NativeDigest final : public Digest {
public:
    DigestContext MdCtxNew() override;
    bool DigestInitSha256(DigestContext context) override;
    bool DigestUpdate(DigestContext context, std::span<const std::byte> bytes) override;
    bool DigestFinal(DigestContext context, std::span<std::byte> output, std::uint32_t& length) override;
    void MdCtxFree(DigestContext context) override;
};

}  // namespace tavi::platform
