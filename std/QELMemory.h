// QELMemory: the allocation helpers every allocation of the library and its
// tools goes through. Internal; not installed.
#ifndef QELMEMORY_H
#define QELMEMORY_H

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <utility>

// Ends the process after an allocation of `bytes` failed: one line "out of
// memory allocating N bytes" on standard error, then abort(). Allocates
// nothing itself, so it works when memory is gone; the process never goes on
// to write through a null pointer.
[[noreturn]] inline void qelOutOfMemory(size_t bytes)
{
    static const char prefix[] = "out of memory allocating ";
    static const char suffix[] = " bytes\n";
    char line[sizeof prefix + 20 + sizeof suffix];
    size_t at = 0;
    for (const char* c = prefix; *c != '\0'; c++)
        line[at++] = *c;
    char digits[20];
    int count = 0;
    do {
        digits[count++] = static_cast<char>('0' + bytes % 10);
        bytes /= 10;
    } while (bytes > 0);
    while (count > 0)
        line[at++] = digits[--count];
    for (const char* c = suffix; *c != '\0'; c++)
        line[at++] = *c;
    const ssize_t written = ::write(2, line, at); // nothing more can be said if it fails
    static_cast<void>(written);
    abort();
}

// malloc that never returns null for a non-zero size.
inline void* qelAllocate(size_t bytes)
{
    void* block = malloc(bytes);
    if (block == nullptr && bytes != 0)
        qelOutOfMemory(bytes);
    return block;
}

// calloc that never returns null for a non-zero size. An overflowing product
// is reported as the largest size.
inline void* qelAllocateZeroed(size_t count, size_t size)
{
    void* block = calloc(count, size);
    if (block == nullptr && count != 0 && size != 0)
        qelOutOfMemory(count <= SIZE_MAX / size ? count * size : SIZE_MAX);
    return block;
}

// realloc that never returns null for a non-zero size (on failure the old
// block is not freed, but the process ends anyway). A size of 0 frees the
// block and may give null, as realloc does.
inline void* qelReallocate(void* block, size_t bytes)
{
    void* moved = realloc(block, bytes);
    if (moved == nullptr && bytes != 0)
        qelOutOfMemory(bytes);
    return moved;
}

// `new T(args...)` that ends the process instead of throwing when memory is
// gone. The library never replaces its callers' global operator new; it
// checks the objects it creates itself.
template <typename T, typename... Args> inline T* qelNew(Args&&... args)
{
    T* object = new (std::nothrow) T(std::forward<Args>(args)...);
    if (object == nullptr)
        qelOutOfMemory(sizeof(T));
    return object;
}

// `new T[count]` that ends the process instead of throwing.
template <typename T> inline T* qelNewArray(size_t count)
{
    T* objects = new (std::nothrow) T[count];
    if (objects == nullptr)
        qelOutOfMemory(count <= SIZE_MAX / sizeof(T) ? count * sizeof(T) : SIZE_MAX);
    return objects;
}

// `::operator new(bytes)` that ends the process instead of throwing.
inline void* qelOperatorNew(size_t bytes)
{
    void* block = ::operator new(bytes, std::nothrow);
    if (block == nullptr)
        qelOutOfMemory(bytes);
    return block;
}

#endif
