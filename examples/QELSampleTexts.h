// QELSampleTexts: the sample collection of text literals used by the
// example program qeltexts.
#ifndef QELSAMPLETEXTS_H
#define QELSAMPLETEXTS_H

#include "QELStd.h"

// The texts of a small file-copy tool, with their English built-in values.
// Owns its literals; translated from QELSampleTexts_<locale>.xml in the
// translations directory when constructed. Must outlive every later
// language change (the registry of collections keeps a pointer to it).
class QELSampleTexts : public QELTextLiteralsCollection {
public:
    QELTextLiteral title;                    // "Sample file copier"
    QELParameterizedTextLiteral greeting;    // "Hello, {0}!"
    QELParameterizedTextLiteral filesCopied; // "{0} files copied to {1}."
    QELMessageLiteral diskFull;              // "The disk {0} is full.", ERROR
    QELTextLiteral help;                     // several lines

    QELSampleTexts();

    QELString getCollectionName() override;
    QELTextLiteral** getTextLiterals() override;

private:
    QELTextLiteral* literals[6];
};

#endif
