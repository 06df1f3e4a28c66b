// fuzz_blob: programs of blob operations on three QELBlobs, run against a
// model of byte vectors. After every step each blob satisfies its invariant
// and holds the model's bytes (bytes the operations leave unspecified, such
// as the tail of mid() past the source, are not compared), and a wrapped
// caller buffer is never written.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "QELBlob.h"
#include "FuzzCheck.h"

namespace {

// -1 marks a byte whose value is unspecified.
typedef std::vector<int> Model;

Model known(const char* p, size_t n)
{
    Model m;
    for (size_t i = 0; i < n; i++)
        m.push_back(static_cast<unsigned char>(p[i]));
    return m;
}

Model cut(const Model& m, size_t from, size_t available, size_t resultSize)
{
    Model r(resultSize, -1);
    for (size_t i = 0; i < available && i < resultSize; i++)
        r[i] = m[from + i];
    return r;
}

void check(const QELGBlob& b, const Model& m)
{
    FUZZ_CHECK(QEL_BLOB_INVARIANT(&b));
    FUZZ_CHECK(b.size == m.size());
    for (size_t i = 0; i < m.size(); i++)
        if (m[i] >= 0)
            FUZZ_CHECK(static_cast<unsigned char>(b.p[i]) == m[i]);
    if (b.size == 0 && b.p == nullptr)
        FUZZ_CHECK(b.isWrap);
    // The hash follows its formula over the bytes actually held.
    unsigned int h = 0;
    for (unsigned int i = 0; i < b.size; i++)
        h = h * 31 + static_cast<unsigned int>(static_cast<int>(static_cast<signed char>(b.p[i])));
    FUZZ_CHECK(b.hashCode() == h + b.size);
    FUZZ_CHECK(blobHashCode(b.p, b.size) == h + b.size);
}

Model concat(const Model& a, const Model& b)
{
    Model r = a;
    r.insert(r.end(), b.begin(), b.end());
    return r;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider provider(data, size);
    // A caller buffer to wrap, kept aside to prove that it is never written.
    const std::string wrapped = provider.ConsumeBytesAsString(provider.ConsumeIntegralInRange<size_t>(0, 64));
    std::vector<char> buffer(wrapped.begin(), wrapped.end());
    buffer.push_back('\0');
    QELBlob blobs[3];
    Model models[3];
    static const bool trace = getenv("QEL_FUZZ_TRACE") != nullptr; // prints each step
    for (int step = 0; step < 64 && provider.remaining_bytes() > 0; step++) {
        const int op = provider.ConsumeIntegralInRange<int>(0, 17);
        const int i = provider.ConsumeIntegralInRange<int>(0, 2);
        const int j = provider.ConsumeIntegralInRange<int>(0, 2);
        const int k = provider.ConsumeIntegralInRange<int>(0, 2);
        const unsigned int a = provider.ConsumeIntegralInRange<unsigned int>(0, 80);
        const unsigned int n = provider.ConsumeIntegralInRange<unsigned int>(0, 80);
        QELBlob& b = blobs[i];
        Model& m = models[i];
        const Model mj = models[j], mk = models[k];
        const unsigned int sj = blobs[j].size;
        if (trace)
            fprintf(stderr, "step %d: op %d i %d j %d k %d a %u n %u; sizes %u %u %u wrap %d %d %d\n", step, op, i, j,
                    k, a, n, blobs[0].size, blobs[1].size, blobs[2].size, blobs[0].isWrap, blobs[1].isWrap,
                    blobs[2].isWrap);
        switch (op) {
        case 0: { // a copy of fresh bytes
            std::string bytes = provider.ConsumeBytesAsString(n);
            QELBlob fresh(bytes.data(), static_cast<unsigned int>(bytes.size()));
            b = fresh;
            m = known(bytes.data(), bytes.size());
            break;
        }
        case 1: // append, the blob itself included
            b += blobs[j];
            m = concat(m, mj);
            break;
        case 2: // mid(start, count): the size is count, the copy is clamped
            b = blobs[j].mid(a, n);
            m = (a >= sj || n == 0) ? Model() : cut(mj, a, sj - a, n);
            break;
        case 3:
            b = blobs[j].left(n);
            m = n == 0 ? Model() : cut(mj, 0, sj, n);
            break;
        case 4: {
            b = blobs[j].right(n);
            unsigned int r = n < sj ? n : sj;
            m = n == 0 ? Model() : cut(mj, sj - r, r, n);
            break;
        }
        case 5:
            b.setSize(n);
            if (n == 0)
                m.clear();
            else
                m.resize(n, -1);
            break;
        case 6:
            if (b.isWrap && b.p != nullptr && b.size > 0) {
                // Deliberate: reversing a wrapped blob puts the bytes in a
                // new block that the blob does not own. Take it back here.
                b.reverse();
                char* block = b.p;
                FUZZ_CHECK(b.isWrap);
                b.unwrap();
                if (block != buffer.data() && b.p != block)
                    free(block);
            } else {
                b.reverse();
            }
            m = Model(m.rbegin(), m.rend());
            break;
        case 7: {
            unsigned int w = n < wrapped.size() ? n : static_cast<unsigned int>(wrapped.size());
            b.wrap(buffer.data(), w);
            m = known(wrapped.data(), w);
            FUZZ_CHECK(b.isWrap);
            break;
        }
        case 8:
            b.unwrap();
            break;
        case 9:
            b = blobs[j] + blobs[k];
            m = concat(mj, mk);
            break;
        case 10: { // a + b + literal: the temporary grows in place
            std::string lit(a % 8, 'x');
            b = blobs[j] + blobs[k] + lit.c_str();
            m = concat(concat(mj, mk), known(lit.data(), lit.size()));
            break;
        }
        case 11: { // += of a temporary
            Model tail = (a >= sj || n == 0) ? Model() : cut(mj, a, sj - a, n);
            b += blobs[j].mid(a, n);
            m = concat(m, tail);
            break;
        }
        case 12: { // the variadic add
            Model sum = concat(mj, mk);
            b.add(&blobs[j], &blobs[k], static_cast<const QELGBlob*>(nullptr));
            m = concat(m, sum);
            break;
        }
        case 13: { // assignment, self-assignment included
            // Deliberate: a source with the same p (itself, or a blob wrapping
            // the same buffer with another size) changes nothing.
            const bool same = b.p == blobs[j].p;
            b = blobs[j];
            if (!same)
                m = mj;
            break;
        }
        case 14: { // the first n bytes of another blob
            QELBlob part(blobs[j], n);
            b = part;
            m = n == 0 ? Model() : cut(mj, 0, sj, n);
            break;
        }
        case 15:
            b.empty();
            m.clear();
            break;
        case 16: { // literal + blob, and literal + temporary (which appends)
            std::string lit(a % 8, 'y');
            if (n & 1) {
                b = lit.c_str() + blobs[j];
                m = concat(known(lit.data(), lit.size()), mj);
            } else {
                b = lit.c_str() + (blobs[j] + blobs[k]);
                m = concat(concat(mj, mk), known(lit.data(), lit.size()));
            }
            break;
        }
        case 17: { // blob + temporary: the blob's bytes go in front
            const unsigned int sk = blobs[k].size;
            Model t = (a >= sk || n == 0) ? Model() : cut(mk, a, sk - a, n);
            b = blobs[j] + blobs[k].mid(a, n);
            m = concat(mj, t);
            break;
        }
        }
        for (int x = 0; x < 3; x++) {
            check(blobs[x], models[x]);
            // Appending a blob to itself doubles it: keep sizes small so that
            // the fuzzer spends its time on operations, not on copying.
            if (models[x].size() > 512) {
                blobs[x].empty();
                models[x].clear();
            }
        }
        FUZZ_CHECK(memcmp(buffer.data(), wrapped.data(), wrapped.size()) == 0);
    }
    return 0;
}
