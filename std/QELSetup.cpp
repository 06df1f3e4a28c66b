// QELSetup: the XML settings document read, queried, merged and written
// through the Xerces-C DOM.
#include "QELSetup.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/Wrapper4InputSource.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>

XERCES_CPP_NAMESPACE_USE

static_assert(sizeof(XMLCh) == sizeof(uchar), "XMLCh must be a 16-bit unit");

namespace {

const XMLCh LS_FEATURE[] = { u'L', u'S', 0 };
const XMLCh SETUP_NAME[] = { u'S', u'e', u't', u'u', u'p', 0 };

inline const XMLCh* toXMLCh(const unsigned short* s)
{
    return reinterpret_cast<const XMLCh*>(s);
}

// Frees the UTF-16 view of a string this class made for the DOM, which the
// string itself would keep until its next wchars() call.
inline void releaseWide(QELString& s)
{
    free(s.wbuf);
    s.wbuf = nullptr;
}

inline QELString fromXMLCh(const XMLCh* s)
{
    return QELString(reinterpret_cast<const uchar*>(s));
}

// The first child of `node` whose name is the `length` units at `name`.
DOMNode* findChild(DOMNode* node, const XMLCh* name, XMLSize_t length)
{
    if (node == nullptr)
        return nullptr;
    for (DOMNode* child = node->getFirstChild(); child != nullptr; child = child->getNextSibling()) {
        const XMLCh* childName = child->getNodeName();
        XMLSize_t i = 0;
        while (i < length && childName[i] == name[i])
            i++;
        if (i == length && childName[i] == 0)
            return child;
    }
    return nullptr;
}

inline bool endsPiece(XMLCh unit)
{
    return unit == u'/' || unit == 0;
}

// The first child of `node` named by the piece at `piece`: the units before
// the next "/" or the terminator (UTF-16 units, or ASCII bytes, which are
// their own UTF-16 units). Sets `length` to the piece's length when found.
// Each name is compared as the piece is read, so the path is read once.
template <typename Unit> DOMNode* findPiece(DOMNode* node, const Unit* piece, size_t& length)
{
    for (DOMNode* child = node->getFirstChild(); child != nullptr; child = child->getNextSibling()) {
        const XMLCh* name = child->getNodeName();
        size_t i = 0;
        while (!endsPiece(static_cast<XMLCh>(piece[i])) && name[i] == static_cast<XMLCh>(piece[i]))
            i++;
        if (endsPiece(static_cast<XMLCh>(piece[i])) && name[i] == 0) {
            length = i;
            return child;
        }
    }
    return nullptr;
}

// Steps down from `node` one child per "/"-separated piece of the terminated
// `path`. An empty piece (an empty path, a leading, doubled or trailing "/")
// matches nothing.
template <typename Unit> DOMNode* walkPath(DOMNode* node, const Unit* path)
{
    for (;;) {
        size_t length = 0;
        node = findPiece(node, path, length);
        if (node == nullptr || path[length] == 0)
            return node;
        path += length + 1;
    }
}

// Whether the `length` bytes at `s` are all ASCII, checked eight at a time.
bool isAscii(const char* s, size_t length)
{
    const uint64_t NOT_ASCII = 0x8080808080808080u;
    uint64_t any = 0;
    size_t i = 0;
    for (uint64_t eight; i + 8 <= length; i += 8) {
        memcpy(&eight, s + i, sizeof eight);
        any |= eight;
    }
    for (; i < length; i++)
        any |= static_cast<unsigned char>(s[i]);
    return (any & NOT_ASCII) == 0;
}

// The node at `path` below the document's "Setup" element, or null. An
// ASCII path (every path the library itself asks for) is matched as it
// stands, with no conversion and no allocation; any other is converted to
// UTF-16 first, through the string's own UTF-16 view. The test covers all
// `len` bytes, also any after an embedded terminator: such a path takes the
// conversion, which reads up to the terminator as the walk does.
DOMNode* findSetting(DOMDocument* document, QELString& path)
{
    DOMNode* setup = findChild(document, SETUP_NAME, 5);
    if (setup == nullptr)
        return nullptr;
    if (isAscii(path.p, static_cast<size_t>(path.len)))
        return walkPath(setup, reinterpret_cast<const unsigned char*>(path.p));
    DOMNode* found = walkPath(setup, toXMLCh(path.wchars()));
    releaseWide(path);
    return found;
}

// Calls `visit(units, length)` with each text value below `node` in
// document order: the text and CDATA sections, through child elements and
// entity references, leaving out comments and processing instructions.
// Their concatenation is what DOM getTextContent gives for an element,
// without the copy that Xerces makes in the document's own memory (kept
// until the document goes) on every call. A value never holds a NUL unit
// (the DOM takes every text as a terminated string), so its length is also
// the terminated length that getTextContent counts.
template <typename Visit> void forEachText(DOMNode* node, Visit& visit)
{
    for (DOMNode* child = node->getFirstChild(); child != nullptr; child = child->getNextSibling()) {
        switch (child->getNodeType()) {
        case DOMNode::TEXT_NODE:
        case DOMNode::CDATA_SECTION_NODE: {
            const DOMCharacterData* text = static_cast<const DOMCharacterData*>(child);
            visit(text->getData(), text->getLength());
            break;
        }
        case DOMNode::ELEMENT_NODE:
        case DOMNode::ENTITY_REFERENCE_NODE:
            forEachText(child, visit);
            break;
        default:
            break;
        }
    }
}

// Whether the four units at `s` are all ASCII, tested as one word.
inline bool fourAscii(const XMLCh* s)
{
    const uint64_t NOT_ASCII = 0xFF80FF80FF80FF80u;
    uint64_t four;
    memcpy(&four, s, sizeof four);
    return (four & NOT_ASCII) == 0;
}

// How many of the `length` units at `s` are ASCII before the first that is
// not, found four units at a time (so possibly up to three short).
size_t asciiPrefix(const XMLCh* s, size_t length)
{
    size_t i = 0;
    while (i + 4 <= length && fourAscii(s + i))
        i += 4;
    return i;
}

inline bool isSurrogate(uint32_t unit, uint32_t first)
{
    return unit - first < 0x400;
}

// False when a surrogate among the `length` units at `s` stands outside a
// high-low pair.
bool surrogatesPaired(const XMLCh* s, size_t length)
{
    for (size_t i = asciiPrefix(s, length); i < length; i++) {
        if (s[i] - 0xD800u >= 0x800) // not a surrogate
            continue;
        if (!isSurrogate(s[i], 0xD800) || i + 1 == length || !isSurrogate(s[i + 1], 0xDC00))
            return false;
        i++;
    }
    return true;
}

// Writes the `length` units at `s`, whose surrogates are all paired, as
// UTF-8 at `out`; returns the end of what it wrote.
char* writeUtf8(const XMLCh* s, size_t length, char* out)
{
    size_t i = 0;
    for (; i + 4 <= length && fourAscii(s + i); i += 4, out += 4) {
        out[0] = static_cast<char>(s[i]);
        out[1] = static_cast<char>(s[i + 1]);
        out[2] = static_cast<char>(s[i + 2]);
        out[3] = static_cast<char>(s[i + 3]);
    }
    for (; i < length; i++) {
        uint32_t c = s[i];
        if (c < 0x80) {
            *out++ = static_cast<char>(c);
            continue;
        }
        if (c < 0x800) {
            *out++ = static_cast<char>(0xC0 | (c >> 6));
        } else {
            if (isSurrogate(c, 0xD800)) {
                c = 0x10000 + ((c - 0xD800) << 10) + (s[++i] - 0xDC00u);
                *out++ = static_cast<char>(0xF0 | (c >> 18));
                *out++ = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            } else {
                *out++ = static_cast<char>(0xE0 | (c >> 12));
            }
            *out++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        }
        *out++ = static_cast<char>(0x80 | (c & 0x3F));
    }
    return out;
}

// The text values below an element (see forEachText), counted in one walk
// of the DOM. The first few are held for writing, so that a setting's value
// (one text node) is not looked up twice; any further ones are found again
// by a second walk.
class TextValues {
public:
    size_t units = 0;
    bool paired = true;

    explicit TextValues(DOMNode* element) : element(element) { forEachText(element, *this); }

    void operator()(const XMLCh* value, size_t length)
    {
        if (found < HELD) {
            values[found] = value;
            lengths[found] = length;
        }
        found++;
        units += length;
        paired = paired && surrogatesPaired(value, length);
    }

    // Writes every value as UTF-8 at `out`; returns the end of what it wrote.
    char* write(char* out) const
    {
        if (found > HELD) {
            auto next = [&out](const XMLCh* value, size_t length) { out = writeUtf8(value, length, out); };
            forEachText(element, next);
            return out;
        }
        for (size_t i = 0; i < found; i++)
            out = writeUtf8(values[i], lengths[i], out);
        return out;
    }

private:
    static constexpr size_t HELD = 4;
    DOMNode* element;
    size_t found = 0;
    const XMLCh* values[HELD];
    size_t lengths[HELD];
};

// The text below an element as the QELString constructor from 16-bit units
// makes it (a block of 4 bytes per unit plus one, never shrunk), converted
// here rather than through an ICU converter opened for every value.
QELString utf8Text(const TextValues& text)
{
    QELString utf8;
    if (text.units == 0)
        return utf8;
    utf8.resize(static_cast<unsigned int>(4 * text.units));
    *text.write(utf8.lock()) = '\0';
    utf8.unlock();
    return utf8;
}

// The text content of `node` as a new string.
QELString textContent(DOMNode* node)
{
    if (node->getNodeType() == DOMNode::ELEMENT_NODE) {
        const TextValues text(node);
        if (text.paired)
            return utf8Text(text);
    }
    // Anything else a path can name (a text node named "#text", a
    // processing instruction) and a lone surrogate take the DOM's own road.
    const XMLCh* content = node->getTextContent();
    return content == nullptr ? getEmptyTString() : fromXMLCh(content);
}

// Notes whether the parser met an error. Without a handler the parser stops
// at the first fatal error and hands back the part it had built, which would
// read as a valid, shorter setup (and could be written back over the file).
class ParseErrorFlag : public DOMErrorHandler {
public:
    bool failed = false;
    bool handleError(const DOMError& error) override
    {
        if (error.getSeverity() == DOMError::DOM_SEVERITY_WARNING)
            return true;
        failed = true;
        return false;
    }
};

// How much entity text one read may produce. Every expansion yields at most
// the file's own size, so allowing (this bound / file size) expansions keeps
// the total below it: a file of nested entities (a few kilobytes expanding
// to gigabytes) becomes a parse error within milliseconds instead of minutes
// of work and the memory of the machine. A setup file needs few if any.
constexpr size_t ENTITY_TEXT_LIMIT = 4u << 20;
constexpr size_t ENTITY_EXPANSION_LIMIT = 10000;

XMLSize_t entityExpansionLimit(size_t fileSize)
{
    const size_t byText = ENTITY_TEXT_LIMIT / (fileSize > 0 ? fileSize : 1);
    return byText < 1 ? 1 : (byText > ENTITY_EXPANSION_LIMIT ? ENTITY_EXPANSION_LIMIT : byText);
}

// The largest setup file read; a setup file is a few kilobytes.
constexpr size_t SETUP_FILE_LIMIT = 16u << 20;

// Refuses every external entity (the external DTD subset is not even asked
// for): nothing named in a setup file is opened, by file or network. The
// answer is an empty input so that no default resolution follows, and the
// read that asked for it fails.
class ExternalEntityRefusal : public DOMLSResourceResolver {
public:
    bool refused = false;
    DOMLSInput* resolveResource(const XMLCh*, const XMLCh*, const XMLCh*, const XMLCh* systemId, const XMLCh*) override
    {
        refused = true;
        static const XMLByte nothing[1] = { 0 };
        return new Wrapper4InputSource(new MemBufInputSource(nothing, 0, systemId));
    }
};

// Detaches the handlers that lived on read()'s stack from the parser.
void forgetHandlers(DOMLSParser* parser)
{
    if (parser == nullptr)
        return;
    try {
        DOMConfiguration* options = parser->getDomConfig();
        options->setParameter(XMLUni::fgDOMErrorHandler, static_cast<const void*>(nullptr));
        options->setParameter(XMLUni::fgDOMResourceResolver, static_cast<const void*>(nullptr));
        options->setParameter(XMLUni::fgXercesSecurityManager, static_cast<const void*>(nullptr));
    } catch (...) {
    }
}

DOMImplementationLS* lsImplementation()
{
    return dynamic_cast<DOMImplementationLS*>(DOMImplementationRegistry::getDOMImplementation(LS_FEATURE));
}

} // namespace

QELSetup::QELSetup(QELString name) : fileName(name), document(nullptr), parser(nullptr), platformUses(0), target(name)
{
}

// The platform is released only as often as read() started it, so that a
// setup that was never read cannot end the platform under another one.
QELSetup::~QELSetup()
{
    releaseParser();
    for (; platformUses > 0; platformUses--)
        XMLPlatformUtils::Terminate();
}

void QELSetup::releaseParser()
{
    if (parser != nullptr) {
        try {
            parser->release();
        } catch (...) {
        }
        parser = nullptr;
        document = nullptr;
    }
}

// --- System calls: reading the file and replacing it ---

// Reads the whole regular file at `path` into `content`. Opened without
// blocking and close-on-exec, and refused unless it is a regular file, so
// that a FIFO, a device or a directory in the setup's place fails at once
// instead of hanging the program that loads the library.
static bool readRegularFile(const char* path, std::string& content)
{
    int fd = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0)
        return false;
    struct stat st;
    bool ok = fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
    char buffer[65536];
    while (ok) {
        ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            ok = n == 0;
            break;
        }
        content.append(buffer, static_cast<size_t>(n));
        ok = content.size() <= SETUP_FILE_LIMIT;
    }
    close(fd);
    return ok;
}

// The path with every symbolic link resolved; the path itself when it does
// not resolve (the open that follows then fails).
static std::string resolvedPath(const char* path)
{
    char* resolved = realpath(path, nullptr);
    if (resolved == nullptr)
        return path;
    std::string result(resolved);
    free(resolved);
    return result;
}

// Writes all `size` bytes at `data` to `fd`; false on any failure (a full
// disk, a file-size limit).
static bool writeAll(int fd, const char* data, size_t size)
{
    while (size > 0) {
        ssize_t n = ::write(fd, data, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        data += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

// Gives the new file at `fd` the permission bits of `old` and, where the
// system allows it, its owner (deliberate: without that right the file
// becomes the writer's, as an editor's rewrite would make it).
static bool takeOverAttributes(int fd, const struct stat& old)
{
    if (fchown(fd, old.st_uid, old.st_gid) != 0 && errno != EPERM)
        return false;
    return fchmod(fd, old.st_mode & 07777) == 0;
}

// A new, exclusive file beside `target` with the target's attributes when it
// exists; -1 on failure. Its name is left in `name`.
static int createSibling(const std::string& target, std::string& name)
{
    static unsigned counter = 0;
    int fd = -1;
    for (int attempt = 0; fd < 0 && attempt < 100; attempt++) {
        name = target + ".tmp-" + std::to_string(getpid()) + "-" + std::to_string(++counter);
        fd = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666);
        if (fd < 0 && errno != EEXIST)
            return -1;
    }
    struct stat old;
    if (fd >= 0 && stat(target.c_str(), &old) == 0 && !takeOverAttributes(fd, old)) {
        close(fd);
        unlink(name.c_str());
        return -1;
    }
    return fd;
}

// Replaces `target` by a file holding `data`: written beside it, synced and
// renamed over it, so that the target holds either all of the old content
// or all of the new. False, with the target untouched, when any step fails.
static bool replaceFile(const std::string& target, const char* data, size_t size)
{
    std::string temporary;
    int fd = createSibling(target, temporary);
    if (fd < 0)
        return false;
    bool ok = writeAll(fd, data, size) && fsync(fd) == 0;
    ok = close(fd) == 0 && ok;
    ok = ok && rename(temporary.c_str(), target.c_str()) == 0;
    if (!ok)
        unlink(temporary.c_str());
    return ok;
}

// Starts a parser configured so that nothing outside the file is opened and
// entity expansion stays bounded, and parses the `size` bytes at `bytes`.
// False on a bad file, an external entity or too much expansion.
bool QELSetup::parse(const char* bytes, size_t size)
{
    ParseErrorFlag errors;
    ExternalEntityRefusal resolver;
    SecurityManager limits;
    limits.setEntityExpansionLimit(entityExpansionLimit(size));
    try {
        DOMImplementationLS* impl = lsImplementation();
        if (impl == nullptr)
            return false;
        parser = impl->createLSParser(DOMImplementationLS::MODE_SYNCHRONOUS, nullptr);
        DOMConfiguration* options = parser->getDomConfig();
        options->setParameter(XMLUni::fgDOMErrorHandler, static_cast<DOMErrorHandler*>(&errors));
        options->setParameter(XMLUni::fgDOMResourceResolver, static_cast<DOMLSResourceResolver*>(&resolver));
        options->setParameter(XMLUni::fgXercesSecurityManager, static_cast<const void*>(&limits));
        options->setParameter(XMLUni::fgXercesLoadExternalDTD, false);
        options->setParameter(XMLUni::fgXercesLoadSchema, false);
        options->setParameter(XMLUni::fgXercesDisableDefaultEntityResolution, true);
        MemBufInputSource source(reinterpret_cast<const XMLByte*>(bytes), size, toXMLCh(fileName.wchars()));
        Wrapper4InputSource input(&source, false);
        document = parser->parse(&input);
    } catch (...) {
        errors.failed = true;
    }
    releaseWide(fileName);
    forgetHandlers(parser);
    if (errors.failed || resolver.refused) {
        // The partial document stays with the parser until it is released.
        document = nullptr;
        return false;
    }
    return true;
}

bool QELSetup::read()
{
    // The file read is the one write() replaces later, found through its
    // links now, so that a link swapped in afterwards is not followed.
    const std::string resolved = resolvedPath(fileName.p);
    std::string content;
    if (!readRegularFile(resolved.c_str(), content))
        return false;
    try {
        XMLPlatformUtils::Initialize();
    } catch (...) {
        return false;
    }
    platformUses++;
    target = QELString(resolved.c_str());

    // A second read replaces the first parser and its document.
    releaseParser();
    return parse(content.data(), content.size());
}

// The document serialised into memory; false when serialising fails. Xerces
// objects come from Xerces' own memory manager, which throws when memory is
// gone; the catch turns that into a false result, as in parse().
static bool serialise(DOMDocument* document, std::string& bytes)
{
    DOMLSSerializer* writer = nullptr;
    DOMLSOutput* output = nullptr;
    MemBufFormatTarget* buffer = nullptr;
    bool serialised = false;
    try {
        DOMImplementationLS* impl = lsImplementation();
        if (impl != nullptr) {
            writer = impl->createLSSerializer();
            output = impl->createLSOutput();
            buffer = new MemBufFormatTarget(1023);
            output->setByteStream(buffer);
            serialised = writer->write(document, output);
            if (serialised)
                bytes.assign(reinterpret_cast<const char*>(buffer->getRawBuffer()), buffer->getLen());
        }
    } catch (...) {
        serialised = false;
    }
    if (output != nullptr)
        output->release();
    if (writer != nullptr)
        writer->release();
    delete buffer;
    return serialised;
}

bool QELSetup::write()
{
    if (document == nullptr)
        return false;
    std::string bytes;
    return serialise(document, bytes) && replaceFile(target.p, bytes.data(), bytes.size());
}

QELString QELSetup::getValue(QELString path)
{
    try {
        DOMNode* node = findSetting(document, path);
        if (node == nullptr)
            return getEmptyTString();
        return textContent(node);
    } catch (...) {
        return getEmptyTString();
    }
}

bool QELSetup::setValue(QELString path, QELString value)
{
    try {
        DOMNode* node = findSetting(document, path);
        if (node == nullptr)
            return false;
        node->setTextContent(toXMLCh(value.wchars()));
        releaseWide(value);
        return true;
    } catch (...) {
        releaseWide(value);
        return false;
    }
}

DOMNode* QELSetup::findNode(QELString path)
{
    return findSetting(document, path);
}

DOMNode* QELSetup::findSubNode(DOMNode* node, QELString name)
{
    if (node == nullptr)
        return nullptr;
    const XMLCh* w = toXMLCh(name.wchars());
    DOMNode* found = findChild(node, w, XMLString::stringLen(w));
    releaseWide(name);
    return found;
}

void QELSetup::setFrom(QELSetup* other)
{
    if (other == nullptr)
        return;
    DOMNode* root = findChild(other->document, SETUP_NAME, 5);
    if (root == nullptr)
        return;
    setFrom(root, getEmptyTString(), other);
}

void QELSetup::setFrom(DOMNode* node, QELString path, QELSetup* other)
{
    if (node == nullptr || other == nullptr)
        return;
    bool leaf = true;
    for (DOMNode* child = node->getFirstChild(); child != nullptr; child = child->getNextSibling()) {
        if (child->getNodeType() != DOMNode::ELEMENT_NODE)
            continue;
        leaf = false;
        QELString name = fromXMLCh(child->getNodeName());
        if (path.isEmpty()) {
            setFrom(child, name, other);
        } else {
            QELString childPath(path);
            childPath.append('/');
            childPath += name;
            setFrom(child, childPath, other);
        }
    }
    if (leaf)
        setValue(path, other->getValue(path));
}
