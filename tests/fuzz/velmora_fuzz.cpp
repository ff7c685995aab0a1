// The libFuzzer binary of every target: VELMORA_FUZZ_TARGET names the one to run (see
// scripts/fuzz.sh, which builds it with clang).

#include "FuzzEntries.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {
FuzzEntries::Entry entry = nullptr;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    const char* name = std::getenv("VELMORA_FUZZ_TARGET");
    entry = name ? FuzzEntries::find(name) : nullptr;
    if (entry)
        return 0;
    std::fprintf(stderr, "VELMORA_FUZZ_TARGET must name one of:");
    for (const auto& target : FuzzEntries::targets())
        std::fprintf(stderr, " %.*s", int(target.name.size()), target.name.data());
    std::fprintf(stderr, "\n");
    std::exit(2);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    entry(QByteArrayView(reinterpret_cast<const char*>(data), qsizetype(size)));
    return 0;
}
