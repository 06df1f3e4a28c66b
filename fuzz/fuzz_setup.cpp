// fuzz_setup: QELSetup::read on any file, then lookups of every element path
// and of fuzzer-chosen paths, a change of one value, and write. Properties:
// the written file read back gives the same value at every path; no value
// holds text of a file named by an external entity; entity text is bounded.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>
#include <unicode/ucnv.h>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/util/PlatformUtils.hpp>

#include "QELSetup.h"
#include "FuzzCheck.h"

XERCES_CPP_NAMESPACE_USE

namespace {

std::string scratchPath()
{
    return (std::filesystem::temp_directory_path() / ("qel-fuzz-setup-" + std::to_string(getpid()) + ".xml")).string();
}

// What a file beside the scratch file holds, in the temporary directory
// under a fixed name so that seeds can name it in external entities.
const char SECRET[] = "qel-fuzz-secret-marker";

bool writeSecret()
{
    std::string secret = (std::filesystem::temp_directory_path() / "qel-fuzz-setup-secret.txt").string();
    FILE* f = fopen(secret.c_str(), "wb");
    if (f == nullptr)
        return false;
    fputs(SECRET, f);
    return fclose(f) == 0;
}

// The most entity text one read may produce.
constexpr size_t ENTITY_TEXT_BOUND = 4u << 20;

// The slash paths of the elements below `node`, in document order; only
// paths that lead back to their own element (the first of equal siblings
// answers for all of them).
void collectPaths(QELSetup& setup, DOMNode* node, const std::string& path, std::vector<std::string>& paths)
{
    for (DOMNode* child = node->getFirstChild(); child != nullptr && paths.size() < 64;
         child = child->getNextSibling()) {
        if (child->getNodeType() != DOMNode::ELEMENT_NODE)
            continue;
        QELString name(reinterpret_cast<const uchar*>(child->getNodeName()));
        std::string childPath = path.empty() ? std::string(name.p) : path + "/" + name.p;
        if (setup.findNode(QELString(childPath.c_str())) != child)
            continue;
        paths.push_back(childPath);
        collectPaths(setup, child, childPath, paths);
    }
}

// Whether the document's encoding keeps state between characters (UTF-7,
// ISO-2022, HZ, SCSU, BOCU-1, stateful EBCDIC). Xerces' serialiser hands
// the converter one piece of the document at a time, and the bits such a
// converter still holds at the end of a piece come out at the start of the
// next: what it writes does not read back the same. That is the XML
// library's limit, so those documents are not written.
bool statefulEncoding(const DOMDocument* document)
{
    const XMLCh* encoding = document->getInputEncoding();
    if (encoding == nullptr)
        return false;
    std::string name;
    for (const XMLCh* c = encoding; *c != 0; c++)
        name += static_cast<char>(*c);
    UErrorCode status = U_ZERO_ERROR;
    UConverter* converter = ucnv_open(name.c_str(), &status);
    if (U_FAILURE(status))
        return false;
    UConverterType type = ucnv_getType(converter);
    ucnv_close(converter);
    return type == UCNV_UTF7 || type == UCNV_ISO_2022 || type == UCNV_HZ || type == UCNV_IMAP_MAILBOX ||
        type == UCNV_SCSU || type == UCNV_BOCU1 || type == UCNV_EBCDIC_STATEFUL || type == UCNV_LMBCS_1;
}

} // namespace

// The XML platform is started once for the whole run and never stopped, so
// that each QELSetup's own start and stop only count up and down instead of
// building and tearing down the platform for every input.
extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    XMLPlatformUtils::Initialize();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider provider(data, size);
    std::string probe = provider.ConsumeRandomLengthString(64);
    std::string newValue = provider.ConsumeRandomLengthString(64);
    // A value the document can hold: printable ASCII, markup characters included.
    for (char& c : newValue)
        c = static_cast<char>(' ' + (static_cast<unsigned char>(c) % 95));
    std::string content = provider.ConsumeRemainingBytesAsString();
    // Inputs with external entities and DTDs run too: read() never opens
    // them. A file beside the scratch file holds a marker that no value may
    // ever show, whatever the input names; the seeds name it. Nested
    // internal entities run as well: read() bounds their expansion by size.
    static const std::string path = scratchPath();
    static const bool secretWritten = writeSecret();
    FUZZ_CHECK(secretWritten);
    FILE* f = fopen(path.c_str(), "wb");
    if (f == nullptr)
        return 0;
    fwrite(content.data(), 1, content.size(), f);
    fclose(f);

    std::vector<std::string> paths;
    std::vector<std::string> values;
    {
        QELSetup setup{QELString(path.c_str())};
        if (!setup.read()) {
            FUZZ_CHECK(setup.document == nullptr);
            FUZZ_CHECK(setup.getValue(QELString("Directory/Home")).len == 0);
            FUZZ_CHECK(!setup.setValue(QELString("Directory/Home"), QELString("x")));
            FUZZ_CHECK(!setup.write());
            remove(path.c_str());
            return 0;
        }
        // Lookups of any path never fail loudly.
        QELString probed = setup.getValue(QELString(probe.c_str()));
        FUZZ_CHECK(probed.len >= 0);
        if (setup.document == nullptr || statefulEncoding(setup.document))
            return 0;
        DOMNode* root = setup.findSubNode(setup.document, QELString("Setup"));
        if (root != nullptr)
            collectPaths(setup, root, "", paths);
        if (!paths.empty() && paths.size() < 64) {
            const std::string& target = paths[newValue.size() % paths.size()];
            FUZZ_CHECK(setup.setValue(QELString(target.c_str()), QELString(newValue.c_str())));
            FUZZ_CHECK(std::string(setup.getValue(QELString(target.c_str())).p) == newValue);
            paths.clear();
            collectPaths(setup, root, "", paths);
        }
        for (const std::string& p : paths) {
            FUZZ_CHECK(setup.findNode(QELString(p.c_str())) != nullptr);
            values.push_back(setup.getValue(QELString(p.c_str())).p);
            FUZZ_CHECK(values.back().find(SECRET) == std::string::npos);
            FUZZ_CHECK(values.back().size() <= ENTITY_TEXT_BOUND + content.size());
        }
        if (!setup.write())
            return 0; // a document the serialiser refuses leaves the file alone
    }
    // Read back: every path has the same value.
    QELSetup again{QELString(path.c_str())};
    FUZZ_CHECK(again.read());
    FUZZ_CHECK(again.document != nullptr);
    for (size_t i = 0; i < paths.size(); i++) {
        QELString value = again.getValue(QELString(paths[i].c_str()));
        if (std::string(value.p) != values[i]) {
            fprintf(stderr, "path %s: written \"%s\", read back \"%s\"\n", paths[i].c_str(), values[i].c_str(), value.p);
            FUZZ_CHECK(std::string(value.p) == values[i]);
        }
    }
    remove(path.c_str());
    return 0;
}
