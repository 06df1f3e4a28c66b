// QELSetup: a settings document kept as an XML file with the root element
// "Setup", whose values are addressed by slash paths such as "Directory/Home".
#ifndef QELSETUP_H
#define QELSETUP_H

#include "QELExport.h"
#include "QELString.h"

// The Xerces-C DOM types this class holds, declared in Xerces 3.2's
// versioned namespace (what XERCES_CPP_NAMESPACE names) instead of including
// a Xerces header, whose macros (MULTIPLY, ...) would reach every user. The
// library's own source includes the real headers, so a Xerces of another
// namespace fails its build rather than this declaration going stale.
namespace xercesc_3_2 {
class DOMDocument;
class DOMLSParser;
class DOMNode;
} // namespace xercesc_3_2

// A setup document read from and written back to one file. It owns the
// parser, which owns the document; both live until destruction. Element
// names match exactly; missing elements are never created. Every failure is
// a false result or an empty string: nothing is thrown or logged.
//
//   <Setup><Directory><Home>/opt/qel</Home></Directory></Setup>
//   getValue("Directory/Home") -> "/opt/qel"
class QEL_API QELSetup {
public:
    QELString fileName;
    xercesc_3_2::DOMDocument* document;
    xercesc_3_2::DOMLSParser* parser;

    // Nothing is read yet.
    QELSetup(QELString fileName);
    // Deletes the parser and its document and releases the XML platform.
    ~QELSetup();

    // Parses the file. Returns false when the file does not exist, is no
    // regular file (a FIFO, a device: never waited for) or is over 16 MB,
    // the XML platform cannot start, the file is not well-formed XML, names
    // an external entity (nothing outside the file is ever opened; an
    // external DTD is skipped), or its entities would expand to more than
    // 4 MB of text.
    bool read();
    // Replaces the file read (found through its symbolic links, which stay)
    // by the whole document: written beside it, synced, renamed over it,
    // keeping its permission bits. Returns false, the file untouched, when
    // no document was read or any step fails (a full disk, no permission).
    bool write();

    // The text content of the element at `path` (all text below it); empty
    // when there is no document, no such element or no text.
    QELString getValue(QELString path);
    // Replaces the element's content by one text node. Returns false and
    // changes nothing when the element does not exist.
    bool setValue(QELString path, QELString value);
    // The element at `path` below "Setup", or null.
    xercesc_3_2::DOMNode* findNode(QELString path);
    // The first child of `node` named `name`; null for a null node or when
    // no child matches.
    xercesc_3_2::DOMNode* findSubNode(xercesc_3_2::DOMNode* node, QELString name);
    // Copies every leaf value of `other` that this document also has;
    // settings only `other` has are not added.
    void setFrom(QELSetup* other);
    // The recursive step of setFrom: `node` is an element of `other` at `path`.
    void setFrom(xercesc_3_2::DOMNode* node, QELString path, QELSetup* other);

private:
    // How many times read() started the XML platform; the destructor
    // releases exactly as many.
    int platformUses;
    // The file read, with its symbolic links resolved: what write() replaces.
    QELString target;

    bool parse(const char* bytes, size_t size);
    void releaseParser();

    QELSetup(const QELSetup&) = delete;
    QELSetup& operator=(const QELSetup&) = delete;
};

#endif
