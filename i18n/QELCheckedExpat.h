// QELCheckedExpat: expat parsers whose every allocation goes through the
// checked helpers of QELMemory.h. Internal to the companion library.
#ifndef QELCHECKEDEXPAT_H
#define QELCHECKEDEXPAT_H

#include <cstdlib>

#include <expat.h>

#include "../std/QELMemory.h"

// Creates an expat parser whose allocations end the process with "out of
// memory allocating N bytes" when they fail, as every other allocation of
// the library does. Expat returns null only when an allocation fails, and
// those end the process first, so the parser is never null and no allocation
// of a parse fails quietly. Released with XML_ParserFree.
inline XML_Parser qelCreateCheckedXmlParser()
{
    static const XML_Memory_Handling_Suite checkedMemory = { qelAllocate, qelReallocate, free };
    return XML_ParserCreate_MM(NULL, &checkedMemory, NULL);
}

#endif
