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

#include "QELFile.h"
#include "FuzzCheck.h"

namespace {

const int NONE = -1;

// The logical line reader, character by character.
std::string referenceLine(std::istream& in, int flags)
{
    std::string r;
    bool quoted = false;
    int run = 0;
    int prev = NONE;
    bool complete = false;
    bool skipping = (flags & 0x40) != 0;
    while (!in.eof()) {
        char buf[1024];
        in.get(buf, sizeof buf, '\n');
        std::streamsize n = in.gcount();
        if (n < 1023) {
            if (n == 0 && in.fail())
                in.clear(in.rdstate() & ~std::ios::failbit);
            in.get(); // the line feed
            complete = true;
        }
        for (std::streamsize i = 0; i < n; i++) {
            unsigned char c = static_cast<unsigned char>(buf[i]);
            if (skipping) {
                if (c < 33)
                    continue;
                skipping = false;
            }
            if (c == '"') {
                run++;
                if (run == 3 && (flags & 0x08)) {
                    r += '"';
                    prev = NONE;
                    run = 0;
                } else if (prev == '\\' && (flags & 0x10)) {
                    r.back() = '"';
                    prev = NONE;
                    run = 0;
                } else {
                    quoted = !quoted;
                    r += '"';
                    prev = '"';
                }
            } else if (c == '\\') {
                run = 0;
                if (prev == '\\' && (flags & 0x31)) {
                    prev = NONE;
                } else {
                    r += '\\';
                    prev = '\\';
                }
            } else if (c == 'a' || c == 'b' || c == 'f' || c == 'n' || c == 'r' || c == 't' || c == 'v') {
                run = 0;
                if (prev == '\\' && (flags & 0x20)) {
                    static const char from[] = "abfnrtv";
                    static const char to[] = {7, 8, 12, 10, 13, 9, 11};
                    r.back() = to[strchr(from, c) - from];
                    prev = NONE;
                } else {
                    r += static_cast<char>(c);
                    prev = c;
                }
            } else {
                r += static_cast<char>(c);
                prev = c;
                run = 0;
            }
        }
        if (prev == 13) {
            r.pop_back();
            prev = r.empty() ? NONE : static_cast<unsigned char>(r.back());
        }
        if (!complete)
            continue;
        if (quoted && (flags & 0x04)) {
            r += '\n';
            complete = false;
        } else if (prev != '\\') {
            break;
        } else if (flags & 0x01) {
            r.back() = '\n';
            prev = NONE;
            complete = false;
        } else if (flags & 0x02) {
            if (r.size() >= 2 && r[r.size() - 2] == '\\')
                r.resize(r.size() - 2);
            else
                r.back() = '\n';
            prev = NONE;
            complete = false;
        } else {
            break;
        }
    }
    if (flags & 0x40)
        while (!r.empty() && static_cast<unsigned char>(r.back()) < 33)
            r.pop_back();
    return r.substr(0, strlen(r.c_str()));
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
