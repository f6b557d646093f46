// resource_cipher: the build's tool that enciphers a readable resource
// document into the form the library reads ("ruleInfo.yaml" into
// "ruleInfo.txt"), with the library's own cipher code.
//
//   resource_cipher INPUT OUTPUT
#include "Core/rules/AESHelper.h"

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: resource_cipher INPUT OUTPUT\n");
        return 2;
    }
    std::ifstream in(argv[1], std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "resource_cipher: cannot read %s\n", argv[1]);
        return 1;
    }
    std::string plain{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    auto cipher = Core::AESHelper().encrypt(plain);
    if (!cipher) {
        std::fprintf(stderr, "resource_cipher: the cipher is not available\n");
        return 1;
    }
    // Write beside the target and rename, so a failed run leaves no half file.
    std::string temporary = std::string(argv[2]) + ".tmp";
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        out.write(cipher->data(), static_cast<std::streamsize>(cipher->size()));
        if (!out) {
            std::fprintf(stderr, "resource_cipher: cannot write %s\n", temporary.c_str());
            return 1;
        }
    }
    if (std::rename(temporary.c_str(), argv[2]) != 0) {
        std::fprintf(stderr, "resource_cipher: cannot write %s\n", argv[2]);
        return 1;
    }
    return 0;
}
