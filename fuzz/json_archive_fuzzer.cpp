#include <cstddef>
#include <cstdint>

#include "fuzz/named_archive_fuzzer.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    named_archive_fuzzer::run<KrPersistence::JsonInArchive>(std::string(data, data + size));
    return 0;
}
