// QELVariadicList: the null-terminated argument lists of the variadic add()
// operations, gathered into an array for their array forms. Internal.
#ifndef QELVARIADICLIST_H
#define QELVARIADICLIST_H

#include <cstdarg>
#include <cstdlib>

#include "QELMemory.h"

// Holds `first` and the arguments after it up to and including the null
// pointer that ends them. Short lists live on the stack, long ones on the
// heap until the list is destroyed. `ap` must have been started after first.
template <typename T> class QELVariadicList {
public:
    QELVariadicList(T first, va_list ap) : items(local)
    {
        size_t count = 0;
        if (first != NULL) {
            va_list counting;
            va_copy(counting, ap);
            count = 1;
            while (va_arg(counting, T) != NULL)
                count++;
            va_end(counting);
        }
        if (count >= LOCAL_SIZE)
            items = static_cast<T*>(qelAllocate((count + 1) * sizeof(T)));
        items[0] = first;
        for (size_t i = 1; i <= count; i++)
            items[i] = va_arg(ap, T);
    }
    ~QELVariadicList()
    {
        if (items != local)
            free(items);
    }
    const T* get() const { return items; }

private:
    static const size_t LOCAL_SIZE = 16;
    T local[LOCAL_SIZE];
    T* items;

    QELVariadicList(const QELVariadicList&) = delete;
    QELVariadicList& operator=(const QELVariadicList&) = delete;
};

#endif
