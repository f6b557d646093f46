#include "Core/rules/AESHelper.h"

#include <openssl/evp.h>

#include <algorithm>
#include <memory>

namespace Core {

const AESHelper& AESHelper::shared() {
    static const AESHelper instance;
    return instance;
}

AESHelper::AESHelper() : _aes(EVP_aes_128_cbc()) {}

std::optional<std::string> AESHelper::decrypt(std::string_view cipherText) const { return run(cipherText, false); }

std::optional<std::string> AESHelper::encrypt(std::string_view plainText) const { return run(plainText, true); }

std::optional<std::string> AESHelper::run(std::string_view input, bool encrypting) const {
    if (_aes == nullptr) return std::nullopt;
    std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> ctx(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
    if (!ctx) return std::nullopt;
    const auto* keyBytes = reinterpret_cast<const unsigned char*>(key.data());
    const auto* ivBytes = reinterpret_cast<const unsigned char*>(initializationVector.data());
    if (EVP_CipherInit_ex(ctx.get(), static_cast<const EVP_CIPHER*>(_aes), nullptr, keyBytes, ivBytes,
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
        if (EVP_CipherUpdate(ctx.get(), reinterpret_cast<unsigned char*>(output.data() + total), &written,
                             reinterpret_cast<const unsigned char*>(input.data() + offset),
                             static_cast<int>(piece)) != 1)
            return std::nullopt;
        total += static_cast<size_t>(written);
    }
    if (EVP_CipherFinal_ex(ctx.get(), reinterpret_cast<unsigned char*>(output.data() + total), &written) != 1)
        return std::nullopt;
    total += static_cast<size_t>(written);
    output.resize(total);
    return output;
}

}  // namespace Core
