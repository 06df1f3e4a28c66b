// fuzz_translation: the translation file loader of libQELI18n.so on any file,
// through a collection whose literals receive the entries. Properties: ids
// never change, every literal stays valid, a text is never emptied, a
// parameterised literal keeps its set of placeholder numbers (so filling in
// the old parameters still works), and a file without a Text element changes
// nothing.
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <set>
#include <string>

#include "QELTextLiteral.h"
#include "QELTextLiteralsCollection.h"
#include "FuzzCheck.h"

namespace {

class FuzzCollection : public QELTextLiteralsCollection {
public:
    QELTextLiteral title{QELString("title"), QELString("Title")};
    QELTextLiteral region{QELString("region"), QELString("Region")};
    QELParameterizedTextLiteral greeting{QELString("greeting"), QELString("Hello {0}")};
    QELParameterizedTextLiteral pair{QELString("pair"), QELString("{1} and {0}, {1}")};
    QELMessageLiteral failed{QELString("failed"), QELString("Failed: {0}"), QELString("ERROR")};
    QELTextLiteral* literals[6] = {&title, &region, &greeting, &pair, &failed, nullptr};

    QELString getCollectionName() override { return QELString("Fuzz"); }
    QELTextLiteral** getTextLiterals() override { return literals; }
};

std::set<int> numbers(const QELParameterizedTextLiteral& l)
{
    std::set<int> s;
    for (int i = 0; i < l.parameterCount; i++)
        s.insert(l.preprocessedParameterSequenceTokens[i]);
    return s;
}

void checkParameterized(const QELParameterizedTextLiteral& l, const std::set<int>& expected)
{
    FUZZ_CHECK(QEL_PARAMETERIZED_TEXT_LITERAL_INVARIANT(&l));
    FUZZ_CHECK(numbers(l) == expected);
    // Fill every parameter with a marker; each marker must appear.
    void* values = l.prapareForParameters();
    for (int n : expected)
        l.setParameterValue(values, n, QELString(("<#" + std::to_string(n) + ">").c_str()));
    QELString filled = l.createParametrizedText(values);
    for (int n : expected)
        FUZZ_CHECK(strstr(filled.p, ("<#" + std::to_string(n) + ">").c_str()) != nullptr);
}

std::string scratchPath()
{
    return (std::filesystem::temp_directory_path() / ("qel-fuzz-translation-" + std::to_string(getpid()) + ".xml")).string();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::string path = scratchPath();
    FILE* f = fopen(path.c_str(), "wb");
    if (f == nullptr)
        return 0;
    fwrite(data, 1, size, f);
    fclose(f);
    FuzzCollection c; // fresh literals for every input; init() is not called, so nothing is registered
    c.loadTranslation(QELString(path.c_str()));
    remove(path.c_str());

    const char* ids[] = {"title", "region", "greeting", "pair", "failed"};
    const char* original[] = {"Title", "Region", "Hello {0}", "{1} and {0}, {1}", "Failed: {0}"};
    static const char entryTag[] = "<Text";
    bool anyEntry = std::search(data, data + size, entryTag, entryTag + 5) != data + size;
    for (int i = 0; i < 5; i++) {
        QELTextLiteral* l = c.literals[i];
        FUZZ_CHECK(QEL_TEXT_LITERAL_INVARIANT(l));
        FUZZ_CHECK(l->id == ids[i]);
        FUZZ_CHECK(l->text.len > 0);
        if (!anyEntry)
            FUZZ_CHECK(l->text == original[i]);
    }
    checkParameterized(c.greeting, {0});
    checkParameterized(c.pair, {0, 1});
    checkParameterized(c.failed, {0});
    FUZZ_CHECK(QEL_MESSAGE_LITERAL_INVARIANT(&c.failed));
    FUZZ_CHECK(c.failed.level == 2);
    return 0;
}
