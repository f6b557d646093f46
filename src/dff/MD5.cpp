#include "dff/MD5.h"

#include <openssl/evp.h>

#include <cstdint>
#include <new>

namespace dff {

struct MD5::State {
    State() : context(EVP_MD_CTX_new()), scratch(EVP_MD_CTX_new()) {
        if (!context || !scratch) {
            EVP_MD_CTX_free(context);
            EVP_MD_CTX_free(scratch);
            throw std::bad_alloc();
        }
    }
    ~State() {
        EVP_MD_CTX_free(context);
        EVP_MD_CTX_free(scratch);
    }
    EVP_MD_CTX* context;
    // Where the digest is finished, so that `context` goes on.
    EVP_MD_CTX* scratch;
};

MD5::MD5() : _state(std::make_unique<State>()) { reset(); }
MD5::MD5(MD5&&) noexcept = default;
MD5& MD5::operator=(MD5&&) noexcept = default;
MD5::~MD5() = default;

void MD5::reset() { EVP_DigestInit_ex(_state->context, EVP_md5(), nullptr); }

void MD5::updateMD5(const void* data, long long length) {
    EVP_DigestUpdate(_state->context, data, static_cast<uint32_t>(length));
}

void MD5::hashValue(HashValue& out) const {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_MD_CTX_copy_ex(_state->scratch, _state->context);
    EVP_DigestFinal_ex(_state->scratch, digest, &length);
    unsigned char bytes[16] = {};
    for (unsigned i = 0; i < 16 && i < length; ++i) bytes[i] = digest[i];
    out.setBytes(bytes);
}

}  // namespace dff
