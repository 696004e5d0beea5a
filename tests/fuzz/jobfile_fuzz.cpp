// Any file in the place of the job file is read to its end.
#include "benchdir.h"
#include "canframe.h"
#include "input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static const BenchDir bench;
    bench.Write("mnt/nandflash/download/update.conf", Input(bytes, size).Text(size));
    if (canframe().LoadFirewareInfo() != 0) Fail("the job file was not read");
    return 0;
}
