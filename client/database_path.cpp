#include "tavi_client/database_path.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <array>

namespace tavi::client {

namespace {

#ifdef _WIN32
constexpr char kSeparator = '\\';
#else
constexpr char kSeparator = '/';
#endif

std::string HexadecimalDigest(std::string_view text) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned length = 0;
    // Without a configuration, as the service does: both must name the same folder.
    if (OPENSSL_init_crypto(OPENSSL_INIT_NO_LOAD_CONFIG, nullptr) != 1 ||
        EVP_Digest(text.data(), text.size(), digest.data(), &length, EVP_sha256(), nullptr) != 1) {
        return {};
    }
    std::string digits;
    for (unsigned index = 0; index < length; ++index) {
        digits += "0123456789abcdef"[digest[index] >> 4];
        digits += "0123456789abcdef"[digest[index] & 0xF];
    }
    return digits;
}

}  // namespace

std::string DatabasePath(std::string_view baseFolder, std::string_view userId) {
    std::string path(baseFolder);
    if (path.empty() || path.back() != kSeparator) {
        path += kSeparator;
    }
    return path + HexadecimalDigest(userId) + kSeparator + "ListenService.dat";
}

}  // namespace tavi::client
