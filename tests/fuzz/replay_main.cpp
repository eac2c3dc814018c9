// Runs a fuzzer's target over files, with any compiler: the committed corpus, or an input that was found.
//
// usage: fuzz_replay_TARGET FILE-OR-DIRECTORY...

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Input = std::pair<std::string, std::vector<std::uint8_t>>;

void addFile(std::vector<Input>& inputs, const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    inputs.emplace_back(path.string(), std::vector<std::uint8_t>(std::istreambuf_iterator<char>(file), {}));
}

} // namespace

int main(int argc, char** argv)
{
    // All are read before the target gives its privileges up.
    std::vector<Input> inputs;
    for (int i = 1; i < argc; ++i) {
        if (!std::filesystem::is_directory(argv[i])) {
            addFile(inputs, argv[i]);
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(argv[i]))
            addFile(inputs, entry.path());
    }
    std::sort(inputs.begin(), inputs.end());
    if (inputs.empty()) {
        std::fprintf(stderr, "there is no input\n");
        return 1;
    }
    LLVMFuzzerInitialize(&argc, &argv);
    for (const auto& [name, bytes] : inputs) {
        std::printf("%s, %zu bytes\n", name.c_str(), bytes.size());
        std::fflush(stdout);
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    std::printf("%zu inputs\n", inputs.size());
    return 0;
}
