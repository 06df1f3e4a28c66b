// QELSampleTexts: the sample collection of text literals.
#include "QELSampleTexts.h"

QELSampleTexts::QELSampleTexts()
    : title("title", "Sample file copier"),
      greeting("greeting", "Hello, {0}!"),
      filesCopied("filesCopied", "{0} files copied to {1}."),
      diskFull("diskFull", "The disk {0} is full.", "ERROR"),
      help("help", "Usage: copier SOURCE... TARGET\nCopies every SOURCE into the directory TARGET.")
{
    literals[0] = &title;
    literals[1] = &greeting;
    literals[2] = &filesCopied;
    literals[3] = &diskFull;
    literals[4] = &help;
    literals[5] = NULL;
    init();
}

QELString QELSampleTexts::getCollectionName()
{
    return QELString("QELSampleTexts");
}

QELTextLiteral** QELSampleTexts::getTextLiterals()
{
    return literals;
}
