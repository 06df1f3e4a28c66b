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
}

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

    // Parses the file. Returns false when the file does not exist, the XML
    // platform cannot start or the file is not well-formed XML, and when its
    // entities would expand more than ten thousand references.
    bool read();
    // Writes the whole document back to the file. Returns false when no
    // document was read, serialising fails or the file cannot be opened.
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

    QELSetup(const QELSetup&) = delete;
    QELSetup& operator=(const QELSetup&) = delete;
};

#endif
