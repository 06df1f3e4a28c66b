// QELSetupEdit: leaf listing, byte-exact value splicing, locking and atomic
// replacement of setup files.
#include "QELSetupEdit.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <expat.h>
#include <fcntl.h>
#include <set>
#include <strings.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/util/TransService.hpp>

#include "QELText.h"

XERCES_CPP_NAMESPACE_USE

namespace {

QELString nodeName(const DOMNode* node)
{
    TranscodeToStr utf8(node->getNodeName(), "UTF-8");
    return QELString(reinterpret_cast<const char*>(utf8.str()), static_cast<int>(utf8.length()));
}

bool hasChildElements(const DOMNode* node)
{
    for (const DOMNode* child = node->getFirstChild(); child != nullptr; child = child->getNextSibling())
        if (child->getNodeType() == DOMNode::ELEMENT_NODE)
            return true;
    return false;
}

QELString joinPath(const QELString& parent, const QELString& name)
{
    if (parent.isEmpty())
        return name;
    QELString path(parent);
    path.append('/');
    path += name;
    return path;
}

void collectLeaves(QELSetup& setup, const DOMNode* node, const QELString& path, std::vector<SetupLeaf>& leaves)
{
    std::set<std::string> seen;
    for (const DOMNode* child = node->getFirstChild(); child != nullptr; child = child->getNextSibling()) {
        if (child->getNodeType() != DOMNode::ELEMENT_NODE)
            continue;
        QELString name = nodeName(child);
        if (!seen.insert(name.chars()).second)
            continue;
        QELString childPath = joinPath(path, name);
        if (hasChildElements(child))
            collectLeaves(setup, child, childPath, leaves);
        else
            leaves.push_back(SetupLeaf{ childPath, setup.getValue(childPath) });
    }
}

// ---------------------------------------------------------------------------
// Byte offsets of the leaf elements, from expat. Only the first sibling of a
// name is reachable by a path, as in QELSetup::findNode.

struct ElementFrame {
    QELString path;
    bool reachable;
    bool hasChildren;
    XML_Index contentStart; // just after the start tag
    std::set<std::string> childNames;
};

struct LeafSpan {
    XML_Index contentStart;
    XML_Index contentEnd;
    bool emptyTag; // written "<Name/>": contentStart is just after "/>"
    QELString name;
};

struct SpliceScan {
    XML_Parser parser;
    std::vector<ElementFrame> stack;
    std::vector<std::pair<QELString, LeafSpan>> leaves;
    QELString encoding;
    bool rootIsSetup = false;
};

void XMLCALL scanStart(void* data, const XML_Char* name, const XML_Char**)
{
    SpliceScan* scan = static_cast<SpliceScan*>(data);
    ElementFrame frame;
    frame.hasChildren = false;
    frame.contentStart = XML_GetCurrentByteIndex(scan->parser) + XML_GetCurrentByteCount(scan->parser);
    if (scan->stack.empty()) {
        scan->rootIsSetup = std::strcmp(name, "Setup") == 0;
        frame.reachable = scan->rootIsSetup;
    } else {
        ElementFrame& parent = scan->stack.back();
        parent.hasChildren = true;
        frame.reachable = parent.reachable && parent.childNames.insert(name).second;
        frame.path = joinPath(parent.path, QELString(name));
    }
    scan->stack.push_back(frame);
}

void XMLCALL scanEnd(void* data, const XML_Char* name)
{
    SpliceScan* scan = static_cast<SpliceScan*>(data);
    ElementFrame& frame = scan->stack.back();
    if (frame.reachable && !frame.hasChildren && scan->stack.size() > 1) {
        // An empty-element tag ends where it starts: expat reports no bytes.
        bool emptyTag = XML_GetCurrentByteCount(scan->parser) == 0;
        XML_Index end = emptyTag ? frame.contentStart : XML_GetCurrentByteIndex(scan->parser);
        scan->leaves.push_back({ frame.path, LeafSpan{ frame.contentStart, end, emptyTag, QELString(name) } });
    }
    scan->stack.pop_back();
}

void XMLCALL scanDeclaration(void* data, const XML_Char*, const XML_Char* encoding, int)
{
    if (encoding != nullptr)
        static_cast<SpliceScan*>(data)->encoding = QELString(encoding);
}

bool isAscii(const QELString& text)
{
    for (const char* c = text.chars(); *c != '\0'; c++)
        if (static_cast<unsigned char>(*c) >= 0x80)
            return false;
    return true;
}

// UTF-8 files take any value; ASCII-compatible single-byte ones only ASCII.
bool encodingTakes(const QELString& encoding, const std::vector<SetupChange>& changes)
{
    if (encoding.isEmpty() || strcasecmp(encoding.chars(), "UTF-8") == 0)
        return true;
    bool singleByte = strcasecmp(encoding.chars(), "ISO-8859-1") == 0 || strcasecmp(encoding.chars(), "US-ASCII") == 0;
    return singleByte
        && std::all_of(changes.begin(), changes.end(), [](const SetupChange& change) { return isAscii(change.value); });
}

bool scanSetupText(const std::string& text, SpliceScan& scan)
{
    // UTF-16 text would need the value re-encoded: left to the caller.
    if (text.size() >= 2 && (text[0] == '\0' || text[1] == '\0' || static_cast<unsigned char>(text[0]) >= 0xFE))
        return false;
    scan.parser = XML_ParserCreate(nullptr);
    XML_SetUserData(scan.parser, &scan);
    XML_SetElementHandler(scan.parser, scanStart, scanEnd);
    XML_SetXmlDeclHandler(scan.parser, scanDeclaration);
    bool parsed = text.size() <= static_cast<size_t>(INT_MAX)
        && XML_Parse(scan.parser, text.data(), static_cast<int>(text.size()), 1) == XML_STATUS_OK;
    XML_ParserFree(scan.parser);
    return parsed && scan.rootIsSetup;
}

const LeafSpan* findSpan(const SpliceScan& scan, const QELString& path)
{
    for (const auto& leaf : scan.leaves)
        if (leaf.first == path)
            return &leaf.second;
    return nullptr;
}

} // namespace

std::vector<SetupLeaf> setupLeaves(QELSetup& setup)
{
    std::vector<SetupLeaf> leaves;
    DOMNode* root = setup.findSubNode(setup.document, QELString("Setup"));
    if (root != nullptr)
        collectLeaves(setup, root, QELString(), leaves);
    return leaves;
}

bool isSetupLeaf(QELSetup& setup, const QELString& path)
{
    DOMNode* node = setup.findNode(path);
    return node != nullptr && !hasChildElements(node);
}

bool spliceSetupValues(const std::string& original, const std::vector<SetupChange>& changes, std::string& result)
{
    SpliceScan scan;
    if (!scanSetupText(original, scan) || !encodingTakes(scan.encoding, changes))
        return false;
    // Spans in the order of the file, each with its new content.
    std::vector<std::pair<const LeafSpan*, std::string>> edits;
    for (const SetupChange& change : changes) {
        const LeafSpan* span = findSpan(scan, change.path);
        if (span == nullptr)
            return false;
        std::string content = escapeXMLString(change.value).chars();
        if (span->emptyTag) // "<Name/>" becomes "<Name>value</Name>"
            content = std::string(">").append(content).append("</").append(span->name.chars()).append(">");
        edits.emplace_back(span, content);
    }
    std::sort(edits.begin(), edits.end(),
              [](const auto& a, const auto& b) { return a.first->contentStart < b.first->contentStart; });
    result.clear();
    size_t copied = 0;
    for (const auto& edit : edits) {
        size_t start = static_cast<size_t>(edit.first->contentStart) - (edit.first->emptyTag ? 2 : 0);
        result.append(original, copied, start - copied);
        result += edit.second;
        copied = static_cast<size_t>(edit.first->contentEnd);
    }
    result.append(original, copied, std::string::npos);
    return true;
}

// ---------------------------------------------------------------------------
// System calls: the lock file and the replacement of the setup file.

namespace {

// The file a path names after following symlinks; the path itself when it
// cannot be resolved (the following call then reports why).
QELString resolvedPath(const QELString& file)
{
    char* real = realpath(file.chars(), nullptr);
    if (real == nullptr)
        return file;
    QELString path(real);
    std::free(real);
    return path;
}

} // namespace

SetupFileLock::~SetupFileLock()
{
    if (fd >= 0)
        close(fd); // releases the flock
}

int SetupFileLock::acquire(const QELString& file, QELString& lockPath)
{
    lockPath = resolvedPath(file);
    lockPath.append(".lock");
    fd = open(lockPath.chars(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0)
        return errno;
    while (flock(fd, LOCK_EX) != 0)
        if (errno != EINTR)
            return errno;
    return 0;
}

int openReplacement(const QELString& file, QELString& target, QELString& temporary)
{
    target = resolvedPath(file);
    struct stat st;
    if (stat(target.chars(), &st) != 0)
        return errno;
    temporary = target;
    temporary.append(".XXXXXX");
    int fd = mkstemp(temporary.lock());
    temporary.unlock(false);
    if (fd < 0)
        return errno;
    close(fd);
    return 0;
}

int commitReplacement(const QELString& target, const QELString& temporary)
{
    struct stat st = {};
    int fd = open(temporary.chars(), O_RDWR | O_CLOEXEC);
    int error = 0;
    if (fd < 0 || stat(target.chars(), &st) != 0)
        error = errno != 0 ? errno : EIO;
    if (error == 0) {
        if (fchown(fd, st.st_uid, st.st_gid) != 0) {
            // deliberate: only root may give the file away; the mode is kept anyway
        }
        if (fchmod(fd, st.st_mode & 07777) != 0 || fsync(fd) != 0)
            error = errno;
    }
    if (fd >= 0 && close(fd) != 0 && error == 0)
        error = errno;
    if (error == 0 && rename(temporary.chars(), target.chars()) != 0)
        error = errno;
    if (error != 0) {
        std::remove(temporary.chars());
        return error;
    }
    const char* slash = std::strrchr(target.chars(), '/');
    QELString directory = slash ? target.left(static_cast<unsigned int>(slash - target.chars()) + 1) : QELString(".");
    int dirFd = open(directory.chars(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dirFd >= 0) {
        fsync(dirFd); // the rename itself reaches the disk
        close(dirFd);
    }
    return 0;
}
