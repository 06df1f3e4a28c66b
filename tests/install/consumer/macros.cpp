// A user's own Windows-style and Xerces-style macros and types, defined
// before and used after the library's umbrella header: the headers must
// neither redefine nor clash with them.
#define FAR "far"
#define CALLBACK(x) ((x) + 1)
#define MULTIPLY(a, b) ((a) * (b))
typedef bool BOOL;
typedef long DWORD;

#include "QELStd.h"

#include <cstring>
#include <type_traits>

static_assert(std::is_same<BOOL, bool>::value, "BOOL is the program's own");
static_assert(std::is_same<DWORD, long>::value, "DWORD is the program's own");
static_assert(CALLBACK(1) == 2 && MULTIPLY(3, 4) == 12, "the program's own macros");

bool ownMacrosStand()
{
    return std::strcmp(FAR, "far") == 0;
}
