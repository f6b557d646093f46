// Digest speed: one MD5 stream against OpenSSL's, and 2 or 3 streams fed
// side by side as the duplicate search feeds the members of a group read in
// step. Bytes per second count all streams together.
#include "dff/MD5.h"

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <cstdint>
#include <vector>

namespace {

constexpr size_t kBlock = 64 * 1024;   // one chunk of a file read
constexpr size_t kStream = 16 * kBlock;  // per stream and iteration

const std::vector<unsigned char>& data() {
    static const std::vector<unsigned char> bytes = [] {
        std::vector<unsigned char> b(kStream * dff::MD5::kMaxLanes);
        uint32_t x = 12345;
        for (auto& c : b) c = static_cast<unsigned char>((x = x * 1103515245u + 12345u) >> 24);
        return b;
    }();
    return bytes;
}

void BM_OpenSSLOneStream(benchmark::State& state) {
    EVP_MD_CTX* context = EVP_MD_CTX_new();
    for (auto _ : state) {
        EVP_DigestInit_ex(context, EVP_md5(), nullptr);
        for (size_t at = 0; at < kStream; at += kBlock) EVP_DigestUpdate(context, data().data() + at, kBlock);
        unsigned char digest[EVP_MAX_MD_SIZE];
        unsigned int length = 0;
        EVP_DigestFinal_ex(context, digest, &length);
        benchmark::DoNotOptimize(digest);
    }
    EVP_MD_CTX_free(context);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kStream));
}
BENCHMARK(BM_OpenSSLOneStream);

void BM_StreamsSideBySide(benchmark::State& state) {
    const size_t lanes = size_t(state.range(0));
    for (auto _ : state) {
        dff::MD5 states[dff::MD5::kMaxLanes];
        dff::MD5* pointers[dff::MD5::kMaxLanes];
        size_t lengths[dff::MD5::kMaxLanes];
        for (size_t l = 0; l < lanes; ++l) {
            pointers[l] = &states[l];
            lengths[l] = kBlock;
        }
        for (size_t at = 0; at < kStream; at += kBlock) {
            const unsigned char* blocks[dff::MD5::kMaxLanes];
            for (size_t l = 0; l < lanes; ++l) blocks[l] = data().data() + l * kStream + at;
            dff::MD5::updateTogether(pointers, blocks, lengths, lanes);
        }
        dff::HashValue digest;
        states[0].hashValue(digest);
        benchmark::DoNotOptimize(digest);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kStream * lanes));
}
BENCHMARK(BM_StreamsSideBySide)->Arg(1)->Arg(2)->Arg(3);

}  // namespace
