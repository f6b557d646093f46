#include "Core/rules/AESHelper.h"

#include "platform/SharedLibrary.h"

#include <openssl/evp.h>
#include <openssl/opensslv.h>

#include <algorithm>
#include <memory>
#include <string>

namespace Core {
namespace {

// The crypto library is opened on first use rather than linked: only the
// enciphered documents need it, and a linked copy costs every program that
// never reads one its mapping and relocations at start-up.
#define CORE_CRYPTO_FUNCTIONS(X) \
    X(EVP_aes_128_cbc)           \
    X(EVP_CIPHER_CTX_new)        \
    X(EVP_CIPHER_CTX_free)       \
    X(EVP_CipherInit_ex)         \
    X(EVP_CipherUpdate)          \
    X(EVP_CipherFinal_ex)

struct CryptoLibrary {
    CORE_CRYPTO_FUNCTIONS(CORE_FUNCTION_FIELD)
};

const CryptoLibrary* crypto() {
    return CORE_SHARED_FUNCTION_TABLE(CryptoLibrary, CORE_CRYPTO_FUNCTIONS,
                                      "libcrypto.so." + std::to_string(OPENSSL_VERSION_MAJOR), "deciphering");
}

}  // namespace

const AESHelper& AESHelper::shared() {
    static const AESHelper instance;
    return instance;
}

AESHelper::AESHelper() {
    if (const CryptoLibrary* library = crypto()) _aes = library->EVP_aes_128_cbc();
}

std::optional<std::string> AESHelper::decrypt(std::string_view cipherText) const { return run(cipherText, false); }

std::optional<std::string> AESHelper::encrypt(std::string_view plainText) const { return run(plainText, true); }

std::optional<std::string> AESHelper::run(std::string_view input, bool encrypting) const {
    if (_aes == nullptr) return std::nullopt;
    const CryptoLibrary& c = *crypto();  // there, since the cipher is
    std::unique_ptr<EVP_CIPHER_CTX, decltype(c.EVP_CIPHER_CTX_free)> ctx(c.EVP_CIPHER_CTX_new(), c.EVP_CIPHER_CTX_free);
    if (!ctx) return std::nullopt;
    const auto* keyBytes = reinterpret_cast<const unsigned char*>(key.data());
    const auto* ivBytes = reinterpret_cast<const unsigned char*>(initializationVector.data());
    if (c.EVP_CipherInit_ex(ctx.get(), static_cast<const EVP_CIPHER*>(_aes), nullptr, keyBytes, ivBytes,
                            encrypting ? 1 : 0) != 1)
        return std::nullopt;
    // PKCS#7 padding is the default; one block more than the input is enough
    // room for either direction.
    std::string output(input.size() + 16, '\0');
    int written = 0;
    size_t total = 0;
    // EVP takes int lengths; feed large inputs in pieces.
    constexpr size_t kChunk = 1 << 20;
    for (size_t offset = 0; offset < input.size(); offset += kChunk) {
        size_t piece = std::min(kChunk, input.size() - offset);
        if (c.EVP_CipherUpdate(ctx.get(), reinterpret_cast<unsigned char*>(output.data() + total), &written,
                               reinterpret_cast<const unsigned char*>(input.data() + offset),
                               static_cast<int>(piece)) != 1)
            return std::nullopt;
        total += static_cast<size_t>(written);
    }
    if (c.EVP_CipherFinal_ex(ctx.get(), reinterpret_cast<unsigned char*>(output.data() + total), &written) != 1)
        return std::nullopt;
    total += static_cast<size_t>(written);
    output.resize(total);
    return output;
}

}  // namespace Core
