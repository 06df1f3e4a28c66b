// QELSetup: the XML settings document read, queried, merged and written
// through the Xerces-C DOM.
#include "QELSetup.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
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
        DOMNode* node = findNode(path);
        if (node == nullptr)
            return getEmptyTString();
        const XMLCh* content = node->getTextContent();
        if (content == nullptr)
            return getEmptyTString();
        return fromXMLCh(content);
    } catch (...) {
        return getEmptyTString();
    }
}

bool QELSetup::setValue(QELString path, QELString value)
{
    try {
        DOMNode* node = findNode(path);
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
    DOMNode* node = findChild(document, SETUP_NAME, 5);
    if (node == nullptr)
        return nullptr;
    const XMLCh* w = toXMLCh(path.wchars());
    DOMNode* found = nullptr;
    // Step down one element per "/"-separated piece; an empty piece (an
    // empty path, a leading, doubled or trailing "/") matches nothing.
    const XMLCh* piece = w;
    for (const XMLCh* q = w;; q++) {
        if (*q == u'/' || *q == 0) {
            node = findChild(node, piece, (XMLSize_t)(q - piece));
            if (node == nullptr || *q == 0) {
                found = node;
                break;
            }
            piece = q + 1;
        }
    }
    releaseWide(path);
    return found;
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
