// fuzz_fullline: QELFile::getFullLine with fuzzer-chosen flags on
// fuzzer-chosen file contents, compared call by call with a plain reference
// reader written from the rules of the line reader (one character at a time,
// chunks of at most 1023 characters), and the stream states compared too.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "FuzzCheck.h"
#include "QELFile.h"
#include "QELFullLineModel.h"

namespace {

// The logical line reader, character by character, over the chunks that
// istream::get gives.
std::string referenceLine(std::istream& in, int flags)
{
    FullLineModel model(flags);
    while (!in.eof()) {
        char buf[FullLineModel::FULL_CHUNK + 1];
        in.get(buf, sizeof buf, '\n');
        std::streamsize n = in.gcount();
        const bool lineEnded = n < static_cast<std::streamsize>(FullLineModel::FULL_CHUNK);
        if (lineEnded) {
            if (n == 0 && in.fail())
                in.clear(in.rdstate() & ~std::ios::failbit);
            in.get(); // the line feed
        }
        model.take(buf, static_cast<size_t>(n));
        if (model.ends(lineEnded))
            break;
    }
    return model.result();
}

std::string scratchPath()
{
    return (std::filesystem::temp_directory_path() / ("qel-fuzz-fullline-" + std::to_string(getpid()))).string();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const int flags = data[0] & 0x7F;
    static const std::string path = scratchPath();
    {
        FILE* f = fopen(path.c_str(), "wb");
        if (f == nullptr)
            return 0;
        fwrite(data + 1, 1, size - 1, f);
        fclose(f);
    }
    QELFile file(QELString(path.c_str()));
    FUZZ_CHECK(file.open(std::ios::in | std::ios::binary));
    std::ifstream reference(path, std::ios::in | std::ios::binary);
    FUZZ_CHECK(reference.is_open());
    // Every call consumes at least one byte or reaches the end: size + 2
    // calls are always enough.
    for (size_t call = 0; call < size + 2; call++) {
        QELString got = file.getFullLine(flags);
        std::string want = referenceLine(reference, flags);
        FUZZ_CHECK(got.len == static_cast<int>(strlen(got.p)));
        FUZZ_CHECK(std::string(got.p, got.len) == want);
        FUZZ_CHECK(file.stream.eof() == reference.eof());
        if (reference.eof())
            break;
        FUZZ_CHECK(call + 1 < size + 2);
    }
    file.close();
    remove(path.c_str());
    return 0;
}
