// QELSetup: the XML settings document read, queried, merged and written
// through the Xerces-C DOM.
#include "QELSetup.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>
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

// How many entity references one read may expand. A setup file needs few if
// any; the bound turns a file of nested entities (a few kilobytes expanding
// to gigabytes) into a parse error instead of hours of work and the memory
// of the machine.
constexpr XMLSize_t ENTITY_EXPANSION_LIMIT = 10000;

DOMImplementationLS* lsImplementation()
{
    return dynamic_cast<DOMImplementationLS*>(DOMImplementationRegistry::getDOMImplementation(LS_FEATURE));
}

} // namespace

QELSetup::QELSetup(QELString name)
    : fileName(name), document(nullptr), parser(nullptr), platformUses(0)
{
}

// The platform is released only as often as read() started it, so that a
// setup that was never read cannot end the platform under another one.
QELSetup::~QELSetup()
{
    if (parser != nullptr) {
        try {
            parser->release();
        } catch (...) {
        }
        parser = nullptr;
        document = nullptr;
    }
    for (; platformUses > 0; platformUses--)
        XMLPlatformUtils::Terminate();
}

// Whether the file opens and its first byte (if any) can be read.
static bool firstByteReadable(const char* path)
{
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    char byte;
    ssize_t n = ::read(fd, &byte, 1);
    close(fd);
    return n >= 0;
}

bool QELSetup::read()
{
    struct stat st;
    if (stat(fileName.p, &st) != 0)
        return false;
    // A file whose first byte cannot be read (a directory, /proc/self/mem,
    // no permission) would fail to parse anyway; the parser leaks a little
    // when it tries, so it is refused here.
    if (!firstByteReadable(fileName.p))
        return false;
    try {
        XMLPlatformUtils::Initialize();
    } catch (...) {
        return false;
    }
    platformUses++;

    // A second read replaces the first parser and its document.
    if (parser != nullptr) {
        try {
            parser->release();
        } catch (...) {
        }
        parser = nullptr;
        document = nullptr;
    }
    ParseErrorFlag errors;
    SecurityManager limits;
    limits.setEntityExpansionLimit(ENTITY_EXPANSION_LIMIT);
    try {
        DOMImplementationLS* impl = lsImplementation();
        if (impl == nullptr)
            return false;
        parser = impl->createLSParser(DOMImplementationLS::MODE_SYNCHRONOUS, nullptr);
        parser->getDomConfig()->setParameter(XMLUni::fgDOMErrorHandler, static_cast<DOMErrorHandler*>(&errors));
        parser->getDomConfig()->setParameter(XMLUni::fgXercesSecurityManager, static_cast<const void*>(&limits));
        document = parser->parseURI(toXMLCh(fileName.wchars()));
    } catch (...) {
        errors.failed = true;
    }
    releaseWide(fileName);
    if (parser != nullptr) {
        try {
            parser->getDomConfig()->setParameter(XMLUni::fgDOMErrorHandler, static_cast<const void*>(nullptr));
            parser->getDomConfig()->setParameter(XMLUni::fgXercesSecurityManager, static_cast<const void*>(nullptr));
        } catch (...) {
        }
    }
    if (errors.failed) {
        // The partial document stays with the parser until it is released.
        document = nullptr;
        return false;
    }
    return true;
}

bool QELSetup::write()
{
    if (document == nullptr)
        return false;

    DOMLSSerializer* writer = nullptr;
    DOMLSOutput* output = nullptr;
    MemBufFormatTarget* target = nullptr;
    bool serialised = false;
    try {
        DOMImplementationLS* impl = lsImplementation();
        if (impl != nullptr) {
            writer = impl->createLSSerializer();
            output = impl->createLSOutput();
            target = new MemBufFormatTarget(1023);
            output->setByteStream(target);
            serialised = writer->write(document, output);
        }
    } catch (...) {
        serialised = false;
    }

    bool result = false;
    if (serialised) {
        FILE* f = fopen(fileName.p, "w");
        if (f != nullptr) {
            fwrite(target->getRawBuffer(), 1, target->getLen(), f);
            fclose(f);
            result = true;
        }
    }
    if (output != nullptr)
        output->release();
    if (writer != nullptr)
        writer->release();
    delete target;
    return result;
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
