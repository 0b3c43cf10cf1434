// Stands in for libFuzzer: runs a fuzz target once on nothing, and once on each file that is named
// or lies in a folder that is named. So every ordinary build and test run keeps the targets and
// their corpora working.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int count, char** arguments) {
    std::vector<std::filesystem::path> inputs;
    for (int i = 1; i < count; ++i) {
        if (!std::filesystem::is_directory(arguments[i])) {
            inputs.emplace_back(arguments[i]);
            continue;
        }
        for (const auto& entry : std::filesystem::recursive_directory_iterator(arguments[i])) {
            if (entry.is_regular_file()) {
                inputs.push_back(entry.path());
            }
        }
    }
    std::sort(inputs.begin(), inputs.end());

    LLVMFuzzerTestOneInput(nullptr, 0);
    for (const auto& input : inputs) {
        std::ifstream stream(input, std::ios::binary);
        const std::vector<char> bytes(std::istreambuf_iterator<char>(stream), {});
        // The name comes first, so that the last line tells which input crashed.
        std::printf("%s\n", input.c_str());
        std::fflush(stdout);
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }
    std::printf("%zu inputs\n", inputs.size());
    return 0;
}
