// Replays a seed corpus through a fuzz target without libFuzzer, so that
// every ordinary build (and its sanitizers) checks the saved inputs.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    namespace fs = std::filesystem;
    size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        std::vector<fs::path> inputs;
        if (fs::is_directory(argv[i])) {
            for (const auto& entry : fs::recursive_directory_iterator(argv[i]))
                if (entry.is_regular_file()) inputs.push_back(entry.path());
        } else {
            inputs.emplace_back(argv[i]);
        }
        for (const auto& path : inputs) {
            std::ifstream in(path, std::ios::binary);
            std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
            ++count;
        }
    }
    if (count == 0) {
        std::fprintf(stderr, "no corpus inputs found\n");
        return 1;
    }
    std::printf("replayed %zu inputs\n", count);
    return 0;
}
