// QELFile: file paths and streams, disk queries, the logical line reader
// getFullLine, and temporary file names.
#include "QELFile.h"

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <stdio.h>
#include <sys/stat.h>

#include "QELConfiguration.h"
#include "QELEncoding.h"

namespace {

// System calls, kept together here; everything else in this file works on
// strings and streams only.
bool statPath(const char* path, unsigned& mode, long& size);
void removePath(const char* path);
QELString temporaryName(const char* directory, const char* prefix);
const char* workingDirectory();

// No previous character in getFullLine.
const int NO_CHAR = -1;

// Which bytes getFullLine must look at one by one. Index bit 0: the double
// quote matters (flags 0x04, 0x08, 0x10); bit 1: the backslash matters
// (0x01, 0x10, 0x20); bit 2: the escape letters matter (0x20). Every other
// byte is copied in runs.
struct LineSpecials {
    unsigned char table[8][256] = {};
    constexpr LineSpecials()
    {
        for (int k = 0; k < 8; k++) {
            if (k & 1)
                table[k][(unsigned char)'"'] = 1;
            if (k & 2)
                table[k][(unsigned char)'\\'] = 1;
            if (k & 4) {
                const char letters[] = "abfnrtv";
                for (int l = 0; letters[l] != '\0'; l++)
                    table[k][(unsigned char)letters[l]] = 1;
            }
        }
    }
};
constexpr LineSpecials lineSpecials; // built at compile time

// The stream buffer's get area, reached through the protected accessors
// (the standard way for a class derived from std::streambuf to name them).
struct StreamBufferAccess : std::streambuf {
    static char* next(std::streambuf* b) { return (b->*&StreamBufferAccess::gptr)(); }
    static char* end(std::streambuf* b) { return (b->*&StreamBufferAccess::egptr)(); }
    static void advance(std::streambuf* b, int n) { (b->*&StreamBufferAccess::gbump)(n); }
};

// The index of the first line feed among the n bytes at p, or n when there
// is none. Sets nul when a NUL byte comes before that index. Both searches
// are memchr (vectorised by the C library); the second one runs over bytes
// the first has just brought into the cache.
inline size_t findLineFeed(const char* p, size_t n, bool& nul)
{
    const char* feed = static_cast<const char*>(memchr(p, '\n', n));
    if (feed == NULL)
        return n; // the caller then reads through getline, NULs or not
    const size_t k = (size_t)(feed - p);
    if (k > 0 && memchr(p, '\0', k) != NULL)
        nul = true;
    return k;
}

// How a chunk taken from the stream's buffer ends (see bufferedLine).
enum ChunkEnd {
    CHUNK_LINE_END,      // its line feed was consumed: the line is complete
    CHUNK_FULL,          // 1023 characters, and the physical line goes on
    CHUNK_FULL_LINE_END, // 1023 characters, then the line feed (consumed)
};

// Takes the next chunk straight from the stream's buffer when the buffer
// settles how getline(.., 1024, '\n') would end it: a line feed within the
// next 1023 characters, or at least 1024 characters buffered. Consumes what
// getline would (the chunk, and the line feed when it ends the chunk or
// comes right after 1023 characters), sets n and how the chunk ends, and
// returns where the chunk lies in the buffer. Returns null (consuming
// nothing) otherwise. Sets nul when the chunk holds a NUL byte.
inline const char* bufferedLine(std::streambuf* b, size_t& n, bool& nul, ChunkEnd& ending)
{
    if (b == NULL)
        return NULL;
    const char* next = StreamBufferAccess::next(b);
    const char* end = StreamBufferAccess::end(b);
    if (next == NULL || next >= end)
        return NULL;
    const size_t buffered = (size_t)(end - next);
    size_t available = buffered;
    if (available > 1023)
        available = 1023;
    const size_t feed = findLineFeed(next, available, nul);
    if (feed < available) {
        n = feed;
        ending = CHUNK_LINE_END;
        StreamBufferAccess::advance(b, (int)n + 1);
        return next;
    }
    if (buffered < 1024)
        return NULL; // getline would have to read on to know
    if (memchr(next, '\0', 1023) != NULL)
        nul = true;
    n = 1023;
    if (next[1023] == '\n') {
        ending = CHUNK_FULL_LINE_END;
        StreamBufferAccess::advance(b, 1024);
    } else {
        ending = CHUNK_FULL;
        StreamBufferAccess::advance(b, 1023);
    }
    return next;
}

// The control character that a backslash and the letter c stand for.
inline char escapedControl(unsigned char c)
{
    switch (c) {
    case 'a': return 7;
    case 'b': return 8;
    case 'f': return 12;
    case 'n': return 10;
    case 'r': return 13;
    case 't': return 9;
    default: return 11; // 'v'
    }
}

} // namespace

QELFile::QELFile()
    : converter(NULL)
{
}

QELFile::QELFile(const QELString& p)
    : converter(NULL)
{
    computeAbsolutePath(p);
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
}

QELFile::QELFile(const QELFile& file)
    : path(file.getPath()), converter(NULL)
{
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
}

QELFile::~QELFile()
{
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    delete converter;
}

QELFile& QELFile::operator=(const QELString& p)
{
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    computeAbsolutePath(p);
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    return *this;
}

QELFile& QELFile::operator=(const QELFile& file)
{
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    path = file.getPath();
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    return *this;
}

// A relative path is completed with $PWD (or "."), never with the system's
// idea of the working directory; "." and ".." are kept (deliberate).
void QELFile::computeAbsolutePath(const QELString& p)
{
    path = p;
    if (path.len > 0 && path.p[0] != '/') {
        QELString absolute;
        absolute.add(workingDirectory(), "/", p.p, (const char*)NULL);
        path = absolute;
    }
}

QELFile QELFile::makeTempFile(const QELString& prefix)
{
    QELString directory = utf8ToLocale(getQELTempPath().p);
    return QELFile(temporaryName(directory.p, prefix.p));
}

const QELString& QELFile::getPath() const
{
    return path;
}

bool QELFile::isAbsolute() const
{
    return path.p[0] == '/';
}

bool QELFile::isRelative() const
{
    return path.p[0] != '/';
}

QELString QELFile::getName() const
{
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    const char* s = path.p;
    int end = path.len;
    while (end > 0 && s[end - 1] == '/')
        end--;
    int start = end;
    while (start > 0 && s[start - 1] != '/')
        start--;
    return QELString(s + start, end - start);
}

QELString QELFile::getDirectory() const
{
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    const char* s = path.p;
    int end = path.len;
    while (end > 0 && s[end - 1] == '/')
        end--;
    while (end > 0 && s[end - 1] != '/')
        end--;
    return QELString(s, end);
}

// A name whose only dot is its first character has an empty file name
// (kept).
QELString QELFile::getFileName() const
{
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    QELString name = getName();
    const char* dot = strrchr(name.p, '.');
    if (dot == NULL)
        return name;
    return QELString(name.p, (int)(dot - name.p));
}

QELString QELFile::getFileExtension() const
{
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    QELString name = getName();
    const char* dot = strrchr(name.p, '.');
    if (dot == NULL)
        return getEmptyTString();
    return QELString(dot + 1);
}

bool QELFile::exists() const
{
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    unsigned mode;
    long size;
    return statPath(path.p, mode, size);
}

// One bit of the mode, not the whole type field: a socket counts (kept).
bool QELFile::isFile() const
{
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    unsigned mode;
    long size;
    return statPath(path.p, mode, size) && (mode & 0x8000) != 0;
}

// One bit of the mode: a block device counts (kept).
bool QELFile::isDirectory() const
{
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    unsigned mode;
    long size;
    return statPath(path.p, mode, size) && (mode & 0x4000) != 0;
}

int QELFile::getSize() const
{
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    unsigned mode;
    long size;
    if (!statPath(path.p, mode, size))
        return -1;
    return (int)size;
}

bool QELFile::open(int mode)
{
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    if (!stream.is_open()) {
        QELString local = utf8ToLocale(path.p);
        if (stream.rdbuf()->open(local.p, (std::ios_base::openmode)mode) == NULL)
            stream.setstate(std::ios_base::failbit);
    }
    return !stream.fail();
}

bool QELFile::close()
{
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    stream.clear();
    if (stream.is_open()) {
        stream.flush();
        if (stream.rdbuf()->close() == NULL)
            stream.setstate(std::ios_base::failbit);
    }
    return !stream.fail();
}

bool QELFile::remove()
{
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    close();
    QELString local = utf8ToLocale(path.p);
    removePath(local.p);
    return true;
}

int QELFile::read(char* buffer, int count)
{
    stream.read(buffer, count);
    return (int)stream.gcount();
}

// True on failure: the inverted sense is deliberate.
bool QELFile::write(char* buffer, int count)
{
    stream.write(buffer, count);
    return stream.fail();
}

QELFile& QELFile::operator<<(const QELString& text)
{
    stream << text.p;
    return *this;
}

QELFile& QELFile::operator<<(QELFile& (*manipulator)(QELFile&))
{
    manipulator(*this);
    return *this;
}

// The stream's own file buffer stays attached to it (open and close still
// act on it); only the buffer that reads and writes go through changes.
void QELFile::setStdOut()
{
    stream.std::basic_ios<char>::rdbuf(std::cout.rdbuf());
}

void QELFile::setStdErr()
{
    stream.std::basic_ios<char>::rdbuf(std::cerr.rdbuf());
}

void QELFile::setDataEncoding(const QELString& name)
{
    delete converter;
    converter = new QELEncodingConverter(name);
}

QELString QELFile::getDataEncoding() const
{
    if (converter == NULL)
        return getEmptyTString();
    return converter->getEncodingName();
}

// Reads physical lines in chunks of at most 1023 characters and joins them
// into one logical line as the flags say. The result is filled in place:
// runs of ordinary characters are copied at once.
QELString QELFile::getFullLine(int flags)
{
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    const int kind = ((flags & 0x1C) ? 1 : 0) | ((flags & 0x31) ? 2 : 0) |
                     ((flags & 0x20) ? 4 : 0);
    const unsigned char* special = lineSpecials.table[kind];

    QELString result;
    char* out = NULL;   // result.p once the first chunk is in
    size_t pos = 0;     // characters written
    size_t cap = 0;     // bytes of the block
    bool quoted = false;
    int run = 0;        // double quotes in a row
    int prev = NO_CHAR; // the last character appended, when it counts
    bool complete = false;
    bool skipping = (flags & 0x40) != 0;
    bool emptyChunkDue = false;
    bool nul = false; // whether the text may hold a NUL byte
    ChunkEnd ending = CHUNK_LINE_END;
    char chunk[1024];
    // The buffer that reads go through: the file's, unless setStdOut or
    // setStdErr replaced it.
    std::streambuf* const input = stream.std::basic_ios<char>::rdbuf();

    for (;;) {
        // One chunk: at most 1023 characters of the physical line. A chunk
        // of exactly 1023 characters is followed by another, which is empty
        // when the line feed comes right after it.
        size_t n;
        const char* src = chunk;
        if (emptyChunkDue) {
            emptyChunkDue = false;
            n = 0;
            complete = true;
        } else if (stream.good() && stream.tie() == NULL &&
                   (src = bufferedLine(input, n, nul, ending)) != NULL) {
            // The chunk lies in the stream's buffer: it is taken from there
            // as getline would take it.
            complete = ending == CHUNK_LINE_END;
            emptyChunkDue = ending == CHUNK_FULL_LINE_END;
        } else {
            src = chunk;
            nul = true; // not looked for: the length is counted at the end
            stream.getline(chunk, sizeof chunk, '\n');
            const size_t got = (size_t)stream.gcount();
            if (got == 0) {
                // Nothing came in: end of file, or an earlier failure.
                stream.clear();
                stream.get();
                n = 0;
                complete = true;
            } else if (stream.fail()) {
                // 1023 characters and the line goes on.
                stream.clear();
                n = got;
                complete = false;
            } else if (stream.eof()) {
                // The last line of the file, without line feed.
                n = got;
                complete = n < sizeof chunk - 1;
                if (complete)
                    stream.get();
            } else {
                // The line feed was read as well.
                n = got - 1;
                complete = n < sizeof chunk - 1;
                emptyChunkDue = !complete;
            }
        }

        // Room for what is there, the chunk and a terminator (and the line
        // feed that a quoted continuation may add).
        if (out == NULL) {
            cap = n + 2;
            out = (char*)malloc(cap);
            result.p = out; // the string owned nothing: its block, locked
            result.alloc = (unsigned)cap;
            result.len = -1;
        } else if (pos + n + 2 > cap) {
            size_t grown = pos + n + 2;
            if (grown < 2 * cap)
                grown = 2 * cap;
            out = (char*)realloc(out, grown);
            result.p = out;
            result.alloc = (unsigned)grown;
            cap = grown;
        }

        size_t i = 0;
        if (skipping) {
            while (i < n && (unsigned char)src[i] < 33)
                i++;
            if (i < n)
                skipping = false;
        }
        if (kind == 0 && i < n) {
            // No character needs a rule: the chunk is one run.
            memcpy(out + pos, src + i, n - i);
            pos += n - i;
            prev = (unsigned char)src[n - 1];
            run = 0;
            i = n;
        }
        while (i < n) {
            size_t j = i;
            while (j < n && !special[(unsigned char)src[j]])
                j++;
            if (j > i) {
                memcpy(out + pos, src + i, j - i);
                pos += j - i;
                prev = (unsigned char)src[j - 1];
                run = 0;
                i = j;
                if (i == n)
                    break;
            }
            const unsigned char c = (unsigned char)src[i++];
            if (c == '"') {
                run++;
                if (run == 3 && (flags & 0x08)) {
                    out[pos++] = '"';
                    prev = NO_CHAR;
                    run = 0;
                } else if (prev == '\\' && (flags & 0x10)) {
                    out[pos - 1] = '"';
                    prev = NO_CHAR;
                    run = 0;
                } else {
                    quoted = !quoted;
                    out[pos++] = '"';
                    prev = '"';
                }
            } else if (c == '\\') {
                run = 0;
                if (prev == '\\' && (flags & 0x31)) {
                    prev = NO_CHAR; // the pair stands for the one already written
                } else {
                    out[pos++] = '\\';
                    prev = '\\';
                }
            } else {
                run = 0; // an escape letter, with 0x20
                if (prev == '\\') {
                    out[pos - 1] = escapedControl(c);
                    prev = NO_CHAR;
                } else {
                    out[pos++] = (char)c;
                    prev = c;
                }
            }
        }

        // A carriage return before the line end goes.
        if (prev == '\r') {
            pos--;
            prev = pos > 0 ? (unsigned char)out[pos - 1] : NO_CHAR;
        }

        if (complete) {
            if (quoted && (flags & 0x04)) {
                out[pos++] = '\n';
                complete = false;
            } else if (prev != '\\') {
                break;
            } else if (flags & 0x01) {
                out[pos - 1] = '\n';
                prev = NO_CHAR;
                complete = false;
            } else if (flags & 0x02) {
                if (pos >= 2 && out[pos - 2] == '\\')
                    pos -= 2;
                else
                    out[pos - 1] = '\n';
                prev = NO_CHAR;
                complete = false;
            } else {
                break;
            }
        }
        if (stream.eof() && !emptyChunkDue)
            break;
    }

    if (flags & 0x40) {
        while (pos > 0 && (unsigned char)out[pos - 1] < 33)
            pos--;
    }
    out[pos] = '\0';
    if (nul) {
        result.unlock(false); // the length up to the first NUL
    } else {
        result.len = (int)pos; // unlocked, with the length already known
        QEL_ASSERT(QEL_STRING_INVARIANT(&result));
    }
    return result;
}

QELString getTmpFileName(const char* directory)
{
    return temporaryName(directory, "QEL");
}

// ---------------------------------------------------------------------------
// System calls
// ---------------------------------------------------------------------------

namespace {

bool statPath(const char* path, unsigned& mode, long& size)
{
    struct stat st;
    if (stat(path, &st) != 0)
        return false;
    mode = (unsigned)st.st_mode;
    size = (long)st.st_size;
    return true;
}

void removePath(const char* path)
{
    ::remove(path);
}

// The C library's tempnam, looked up at run time. Deliberate: a direct
// reference makes the linker warn that tempnam is dangerous on every link of
// this library, and the linker has no switch for that one warning; the call
// itself is the described behaviour and stays.
typedef char* (*TempnamFunction)(const char* directory, const char* prefix);
static TempnamFunction systemTempnam()
{
    static TempnamFunction function = reinterpret_cast<TempnamFunction>(dlsym(RTLD_DEFAULT, "tempnam"));
    return function;
}

// tempnam's name, copied; the block tempnam allocated is released here.
QELString temporaryName(const char* directory, const char* prefix)
{
    char* name = systemTempnam()(directory, prefix);
    QELString result(name);
    free(name);
    return result;
}

const char* workingDirectory()
{
    const char* pwd = getenv("PWD");
    return pwd != NULL ? pwd : ".";
}

} // namespace
