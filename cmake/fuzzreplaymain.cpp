// Runs a fuzz target's entry over files, without libFuzzer: the ordinary build replays each
// target's seed corpus and the inputs its fuzzing once found, so that CI checks them under the
// sanitizers. Arguments are files or folders (their files, sorted, are taken in turn).
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

int main(int argc, char** argv)
{
    if (LLVMFuzzerInitialize)
        LLVMFuzzerInitialize(&argc, &argv);
    namespace fs = std::filesystem;
    std::vector<fs::path> inputs;
    for (int index = 1; index < argc; ++index)
    {
        std::error_code error;
        fs::path path = argv[index];
        if (fs::is_directory(path, error))
        {
            for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path))
                if (entry.is_regular_file())
                    inputs.push_back(entry.path());
        }
        else if (fs::exists(path, error))
            inputs.push_back(path);
    }
    std::sort(inputs.begin(), inputs.end());
    for (const fs::path& input : inputs)
    {
        std::ifstream in(input, std::ios::binary);
        std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                                   std::istreambuf_iterator<char>());
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    std::printf("%zu inputs replayed\n", inputs.size());
    return inputs.empty() ? 1 : 0;
}
