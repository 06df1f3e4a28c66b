// fuzz_textliteral: QELParameterizedTextLiteral on any text, and update()
// with a second text. Properties: the pieces, the parameter sequence, the
// count and the largest number equal a direct model of the scanner, and the
// filled text is the pieces joined with the values.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "QELTextLiteral.h"
#include "FuzzCheck.h"

namespace {

struct Tokens {
    std::vector<std::string> pieces;
    std::vector<int32_t> sequence;
    int32_t maxNumber = -1;
};

// The scanner: "{", digits, "}" is a placeholder ("{}" is 0); any other "{"
// drops the text from the piece start to it, with its digits (deliberate).
// A number beyond the signed 32-bit range makes the "{" no placeholder.
Tokens model(const std::string& t)
{
    Tokens k;
    size_t start = 0;
    const size_t len = t.size();
    while (start < len) {
        size_t brace = t.find('{', start);
        if (brace == std::string::npos)
            break;
        // No room for "{" digit "}" stops the scan, except for a "{}" that
        // ends the text, which is parameter 0.
        const long b = static_cast<long>(brace), n = static_cast<long>(len);
        if (b > n - 3 && !(b == n - 2 && t[brace + 1] == '}'))
            break;
        size_t i = brace + 1;
        int64_t number = 0;
        bool fits = true;
        for (; i < len && t[i] >= '0' && t[i] <= '9'; i++) {
            number = number * 10 + (t[i] - '0');
            if (number > INT32_MAX) {
                fits = false;
                number = 0;
            }
        }
        if (fits && i < len && t[i] == '}') {
            k.pieces.push_back(t.substr(start, brace - start));
            k.sequence.push_back(static_cast<int32_t>(number));
            if (static_cast<int32_t>(number) > k.maxNumber)
                k.maxNumber = static_cast<int32_t>(number);
            i++;
        }
        start = i;
    }
    k.pieces.push_back(start < len ? t.substr(start) : std::string());
    return k;
}

void check(const QELParameterizedTextLiteral& l, const std::string& text)
{
    FUZZ_CHECK(QEL_PARAMETERIZED_TEXT_LITERAL_INVARIANT(&l));
    FUZZ_CHECK(l.text == text.c_str());
    Tokens k = model(text);
    if (k.sequence.empty()) {
        FUZZ_CHECK(l.parameterCount == 0);
        FUZZ_CHECK(l.preprocessedTextTokens == nullptr);
        return;
    }
    FUZZ_CHECK(l.parameterCount == static_cast<int32_t>(k.sequence.size()));
    FUZZ_CHECK(l.maxParameterNumber == k.maxNumber);
    for (int32_t i = 0; i < l.parameterCount; i++) {
        FUZZ_CHECK(l.preprocessedParameterSequenceTokens[i] == k.sequence[i]);
        FUZZ_CHECK(l.preprocessedTextTokens[i] == k.pieces[i].c_str());
    }
    FUZZ_CHECK(l.preprocessedTextTokens[l.parameterCount] == k.pieces.back().c_str());

    // A huge number makes prapareForParameters allocate that many values
    // (and end the process when memory runs out). Fill only small ones.
    for (int32_t n : k.sequence)
        if (n < 0 || n > 1000)
            return;
    void* values = l.prapareForParameters();
    for (int32_t n = 0; n <= k.maxNumber; n++)
        l.setParameterValue(values, n, QELString(("<" + std::to_string(n) + ">").c_str()));
    std::string want;
    for (size_t i = 0; i < k.sequence.size(); i++)
        want += k.pieces[i] + "<" + std::to_string(k.sequence[i]) + ">";
    want += k.pieces.back();
    QELString filled = l.createParametrizedText(values);
    FUZZ_CHECK(std::string(filled.p, filled.len) == want);
    // A null array fills every placeholder with nothing.
    std::string bare;
    for (size_t i = 0; i < k.sequence.size(); i++)
        bare += k.pieces[i];
    bare += k.pieces.back();
    FUZZ_CHECK(std::string(l.createParametrizedText(nullptr).p) == bare);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider provider(data, size);
    const std::string first = nulFree(provider.ConsumeRandomLengthString(512));
    const std::string second = nulFree(provider.ConsumeRemainingBytesAsString());
    QELParameterizedTextLiteral literal(QELString("id"), QELString(first.c_str()));
    check(literal, first);
    // A copy has its own tokens.
    {
        QELParameterizedTextLiteral copy(literal);
        check(copy, first);
    }
    // update: an empty text changes nothing; another text is tokenised afresh.
    literal.update(QELString(second.c_str()), nullptr);
    check(literal, second.empty() ? first : second);
    QELMessageLiteral message(QELString("m"), QELString(second.c_str()), QELString(first.c_str()));
    static const char* const words[] = {"FATAL", "ERROR", "WARNING", "STATUS", "INFO", "DEBUG"};
    int level = 0;
    for (int i = 0; i < 6; i++)
        if (first == words[i])
            level = i + 1;
    FUZZ_CHECK(message.level == level);
    check(message, second);
    return 0;
}
