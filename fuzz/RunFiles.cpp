// Runs a fuzz target on the files of a directory, where libFuzzer is not linked.
#include <cstdio>

#include "Support.h"

int main(int argc, char** argv) {
    LLVMFuzzerInitialize(&argc, &argv);
    const std::string directory = argc > 1 ? argv[1] : ".";
    const auto names = support::namesIn(directory);
    for (const std::string& name : names) {
        const std::string input = support::readFile(directory + "/" + name);
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.data()), input.size());
    }
    std::printf("%zu inputs\n", names.size());
    return names.empty() ? 1 : 0;
}
