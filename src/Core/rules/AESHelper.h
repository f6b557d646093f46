#pragma once
// AESHelper: the cipher of the enciphered resource documents: AES-128 in CBC
// mode with PKCS#7 padding, under one fixed key and initialisation vector.
// The library only deciphers; enciphering exists for the build's resource
// tool and for tests.
//
// Threading: the shared instance is built once, on first use, and is then
// immutable; both operations may run on any thread at once.
//
//   auto plain = Core::AESHelper::shared().decrypt(bytes);   // nothing on failure

#include <optional>
#include <string>
#include <string_view>

namespace Core {

class AESHelper {
public:
    // The process-wide instance with the fixed key and vector.
    static const AESHelper& shared();

    // A helper with the fixed key and vector; without a cipher when the
    // crypto library offers no AES-128-CBC.
    AESHelper();

    // The plain bytes of `cipherText`; nothing when the cipher is absent, the
    // length is no multiple of the block size or the padding is wrong.
    std::optional<std::string> decrypt(std::string_view cipherText) const;
    // The enciphered bytes of `plainText`, padded; nothing when the cipher is
    // absent.
    std::optional<std::string> encrypt(std::string_view plainText) const;

    static constexpr std::string_view key = "Zq.Hant483915726";
    static constexpr std::string_view initializationVector = "7306148259043172";

private:
    std::optional<std::string> run(std::string_view input, bool encrypting) const;
    const void* _aes = nullptr;  // the cipher object (an EVP_CIPHER); absent when null
};

}  // namespace Core
