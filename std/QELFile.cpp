// QELFile: file paths and streams, disk queries, the logical line reader
// getFullLine, and temporary file names.
#include "QELFile.h"
#include "QELMemory.h"

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>

#include "QELConfiguration.h"
#include "QELEncoding.h"
#include "QELAssert.h"

QEL_SOURCE_FILE("QELFile.cpp");

namespace {

// System calls, kept together here; everything else in this file works on
// strings and streams only.
bool statPath(const char* path, unsigned& mode, long& size);
void removePath(const char* path);
QELString temporaryName(const char* directory, const char* prefix);
const char* workingDirectory();
void closeOnExec(std::filebuf& buffer);

// No previous character in getFullLine.
const int NO_CHAR = -1;

// A chunk holds at most this many characters of a physical line (getline
// into a buffer of CHUNK_BUFFER bytes); a chunk this long may be followed
// by more of the same line.
const size_t CHUNK_CHARACTERS = 1023;
const size_t CHUNK_BUFFER = CHUNK_CHARACTERS + 1;

// Codes below this one are blanks to QEL_LINE_TRIM.
const unsigned char FIRST_VISIBLE = 33;

// The flags under which the double quote, and a backslash after a
// backslash, need a rule of their own.
const int QUOTE_FLAGS = QEL_LINE_QUOTES_CONTINUE | QEL_LINE_TRIPLE_QUOTES | QEL_LINE_ESCAPED_QUOTES;
const int BACKSLASH_PAIR_FLAGS = QEL_LINE_BACKSLASH_CONTINUES | QEL_LINE_ESCAPED_QUOTES | QEL_LINE_ESCAPES;

// Which bytes getFullLine must look at one by one, indexed by a kind made of
// these bits (see lineKind). Every other byte is copied in runs.
const int QUOTE_MATTERS = 1;     // the double quote
const int BACKSLASH_MATTERS = 2; // the backslash
const int LETTERS_MATTER = 4;    // the escape letters
const int LINE_KINDS = 8;

struct LineSpecials {
    unsigned char table[LINE_KINDS][256] = {};
    constexpr LineSpecials()
    {
        for (int k = 0; k < LINE_KINDS; k++) {
            if (k & QUOTE_MATTERS)
                table[k][static_cast<unsigned char>('"')] = 1;
            if (k & BACKSLASH_MATTERS)
                table[k][static_cast<unsigned char>('\\')] = 1;
            if (k & LETTERS_MATTER) {
                const char letters[] = "abfnrtv";
                for (int l = 0; letters[l] != '\0'; l++)
                    table[k][static_cast<unsigned char>(letters[l])] = 1;
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
    const size_t k = static_cast<size_t>(feed - p);
    if (k > 0 && memchr(p, '\0', k) != NULL)
        nul = true;
    return k;
}

// How a chunk taken from the stream's buffer ends (see bufferedLine).
enum ChunkEnd {
    CHUNK_LINE_END,      // its line feed was consumed: the line is complete
    CHUNK_FULL,          // CHUNK_CHARACTERS, and the physical line goes on
    CHUNK_FULL_LINE_END, // CHUNK_CHARACTERS, then the line feed (consumed)
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
    const size_t buffered = static_cast<size_t>(end - next);
    size_t available = buffered;
    if (available > CHUNK_CHARACTERS)
        available = CHUNK_CHARACTERS;
    const size_t feed = findLineFeed(next, available, nul);
    if (feed < available) {
        n = feed;
        ending = CHUNK_LINE_END;
        StreamBufferAccess::advance(b, static_cast<int>(n) + 1);
        return next;
    }
    if (buffered < CHUNK_BUFFER)
        return NULL; // getline would have to read on to know
    if (memchr(next, '\0', CHUNK_CHARACTERS) != NULL)
        nul = true;
    n = CHUNK_CHARACTERS;
    if (next[CHUNK_CHARACTERS] == '\n') {
        ending = CHUNK_FULL_LINE_END;
        StreamBufferAccess::advance(b, static_cast<int>(CHUNK_BUFFER));
    } else {
        ending = CHUNK_FULL;
        StreamBufferAccess::advance(b, static_cast<int>(CHUNK_CHARACTERS));
    }
    return next;
}

// The control character that a backslash and the letter c stand for.
inline char escapedControl(unsigned char c)
{
    switch (c) {
    case 'a':
        return 7;
    case 'b':
        return 8;
    case 'f':
        return 12;
    case 'n':
        return 10;
    case 'r':
        return 13;
    case 't':
        return 9;
    default:
        return 11; // 'v'
    }
}

// The kind of line getFullLine reads under `flags`: which bytes need a rule.
inline int lineKind(int flags)
{
    return ((flags & QUOTE_FLAGS) ? QUOTE_MATTERS : 0) | ((flags & BACKSLASH_PAIR_FLAGS) ? BACKSLASH_MATTERS : 0)
        | ((flags & QEL_LINE_ESCAPES) ? LETTERS_MATTER : 0);
}

// The chunk source of getFullLine: the next chunk of the physical line,
// taken straight from the stream's buffer when the buffer settles how
// getline would end it, else read through getline into a buffer of its own.
// A chunk of exactly CHUNK_CHARACTERS is followed by another, which is empty
// when the line feed comes right after it.
class LineChunks {
public:
    // Reads go through the stream's current buffer: the file's, unless
    // setStdOut or setStdErr replaced it.
    explicit LineChunks(std::iostream& s) : stream(s), input(s.std::basic_ios<char>::rdbuf()) { }

    // Sets src and n to the next chunk; true when it ends its physical line.
    bool next(const char*& src, size_t& n)
    {
        src = chunk;
        if (emptyChunkDue) {
            emptyChunkDue = false;
            n = 0;
            return true;
        }
        ChunkEnd ending = CHUNK_LINE_END;
        const char* buffered = NULL;
        if (stream.good() && stream.tie() == NULL && (buffered = bufferedLine(input, n, nul, ending)) != NULL) {
            src = buffered;
            emptyChunkDue = ending == CHUNK_FULL_LINE_END;
            return ending == CHUNK_LINE_END;
        }
        return readChunk(n);
    }

    // End of file, with no empty chunk still owed.
    bool atEnd() const { return stream.eof() && !emptyChunkDue; }

    // Whether the text may hold a NUL byte (then its length is counted).
    bool nul = false;

private:
    // The chunk through getline; true when it ends its physical line.
    bool readChunk(size_t& n)
    {
        nul = true; // not looked for: the length is counted at the end
        stream.getline(chunk, sizeof chunk, '\n');
        const size_t got = static_cast<size_t>(stream.gcount());
        if (got == 0) {
            // Nothing came in: end of file, or an earlier failure.
            stream.clear();
            stream.get();
            n = 0;
            return true;
        }
        if (stream.fail()) {
            // CHUNK_CHARACTERS and the line goes on.
            stream.clear();
            n = got;
            return false;
        }
        if (stream.eof()) {
            // The last line of the file, without line feed.
            n = got;
            if (n < CHUNK_CHARACTERS)
                stream.get();
            return n < CHUNK_CHARACTERS;
        }
        // The line feed was read as well.
        n = got - 1;
        emptyChunkDue = n >= CHUNK_CHARACTERS;
        return n < CHUNK_CHARACTERS;
    }

    std::iostream& stream;
    std::streambuf* const input;
    bool emptyChunkDue = false;
    char chunk[CHUNK_BUFFER];
};

// The logical line getFullLine builds, filled in place into the result's
// block (locked while it is filled), and the state its rules carry from one
// chunk to the next. Runs of ordinary characters are copied at once.
class LineBuilder {
public:
    LineBuilder(QELString& target, int lineFlags)
        : result(target), flags(lineFlags), kind(lineKind(lineFlags)), special(lineSpecials.table[kind]),
          skipping((lineFlags & QEL_LINE_TRIM) != 0)
    {
    }

    // Applies the rules to the n characters at src, then drops a carriage
    // return left at the end.
    void take(const char* src, size_t n)
    {
        reserve(n);
        size_t i = skipBlanks(src, n);
        if (kind == 0 && i < n) {
            appendRun(src + i, n - i); // no character needs a rule
            i = n;
        }
        while (i < n) {
            size_t j = i;
            while (j < n && !special[static_cast<unsigned char>(src[j])])
                j++;
            appendRun(src + i, j - i);
            if (j == n)
                break;
            applyRule(static_cast<unsigned char>(src[j]));
            i = j + 1;
        }
        if (prev == '\r') {
            pos--;
            prev = pos > 0 ? static_cast<unsigned char>(out[pos - 1]) : NO_CHAR;
        }
    }

    // After a chunk that ended its physical line: true when the logical line
    // goes on (an open quote, or a backslash continuation).
    bool continues()
    {
        if (quoted && (flags & QEL_LINE_QUOTES_CONTINUE)) {
            out[pos++] = '\n';
            return true;
        }
        if (prev != '\\')
            return false;
        if (flags & QEL_LINE_BACKSLASH_CONTINUES) {
            out[pos - 1] = '\n';
        } else if (flags & QEL_LINE_BACKSLASH_JOINS) {
            if (pos >= 2 && out[pos - 2] == '\\')
                pos -= 2;
            else
                out[pos - 1] = '\n';
        } else {
            return false;
        }
        prev = NO_CHAR;
        return true;
    }

    // Drops trailing blanks under QEL_LINE_TRIM and terminates the text;
    // returns its length. The result stays locked.
    size_t finish()
    {
        if (flags & QEL_LINE_TRIM) {
            while (pos > 0 && static_cast<unsigned char>(out[pos - 1]) < FIRST_VISIBLE)
                pos--;
        }
        out[pos] = '\0';
        return pos;
    }

private:
    // Room for what is there, n more characters and a terminator (and the
    // line feed that a quoted continuation may add).
    void reserve(size_t n)
    {
        if (out == NULL) {
            cap = n + 2;
            out = static_cast<char*>(qelAllocate(cap));
            result.p = out; // the string owned nothing: its block, locked
            result.alloc = static_cast<unsigned>(cap);
            result.len = -1;
        } else if (pos + n + 2 > cap) {
            size_t grown = pos + n + 2;
            if (grown < 2 * cap)
                grown = 2 * cap;
            out = static_cast<char*>(qelReallocate(out, grown));
            result.p = out;
            result.alloc = static_cast<unsigned>(grown);
            cap = grown;
        }
    }

    // Under QEL_LINE_TRIM, the blanks before the first visible character of
    // the line; returns where the chunk's text starts.
    size_t skipBlanks(const char* src, size_t n)
    {
        size_t i = 0;
        if (skipping) {
            while (i < n && static_cast<unsigned char>(src[i]) < FIRST_VISIBLE)
                i++;
            if (i < n)
                skipping = false;
        }
        return i;
    }

    void appendRun(const char* src, size_t n)
    {
        if (n == 0)
            return;
        memcpy(out + pos, src, n);
        pos += n;
        prev = static_cast<unsigned char>(src[n - 1]);
        run = 0;
    }

    void applyRule(unsigned char c)
    {
        if (c == '"')
            takeQuote();
        else if (c == '\\')
            takeBackslash();
        else
            takeEscapeLetter(c);
    }

    void takeQuote()
    {
        run++;
        if (run == 3 && (flags & QEL_LINE_TRIPLE_QUOTES)) {
            out[pos++] = '"';
            prev = NO_CHAR;
            run = 0;
        } else if (prev == '\\' && (flags & QEL_LINE_ESCAPED_QUOTES)) {
            out[pos - 1] = '"';
            prev = NO_CHAR;
            run = 0;
        } else {
            quoted = !quoted;
            out[pos++] = '"';
            prev = '"';
        }
    }

    void takeBackslash()
    {
        run = 0;
        if (prev == '\\' && (flags & BACKSLASH_PAIR_FLAGS)) {
            prev = NO_CHAR; // the pair stands for the one already written
        } else {
            out[pos++] = '\\';
            prev = '\\';
        }
    }

    // An escape letter: it matters only under QEL_LINE_ESCAPES.
    void takeEscapeLetter(unsigned char c)
    {
        run = 0;
        if (prev == '\\') {
            out[pos - 1] = escapedControl(c);
            prev = NO_CHAR;
        } else {
            out[pos++] = static_cast<char>(c);
            prev = c;
        }
    }

    QELString& result;
    const int flags;
    const int kind;
    const unsigned char* const special;
    char* out = NULL; // result.p once the first chunk is in
    size_t pos = 0;   // characters written
    size_t cap = 0;   // bytes of the block
    bool quoted = false;
    bool skipping;
    int run = 0;        // double quotes in a row
    int prev = NO_CHAR; // the last character appended, when it counts
};

} // namespace

QELFile::QELFile() : converter(NULL)
{
}

QELFile::QELFile(const QELString& p) : converter(NULL)
{
    QEL_OPERATION("QELFile::QELFile(const QELString&)");
    computeAbsolutePath(p);
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
}

QELFile::QELFile(const QELFile& file) : path(file.getPath()), converter(NULL)
{
    QEL_OPERATION("QELFile::QELFile(const QELFile&)");
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
}

QELFile::~QELFile()
{
    QEL_OPERATION("QELFile::~QELFile()");
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    delete converter;
}

QELFile& QELFile::operator=(const QELString& p)
{
    QEL_OPERATION("QELFile& QELFile::operator=(const QELString&)");
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    computeAbsolutePath(p);
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    return *this;
}

QELFile& QELFile::operator=(const QELFile& file)
{
    QEL_OPERATION("QELFile& QELFile::operator=(const QELFile&)");
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
        absolute.add(workingDirectory(), "/", p.p, static_cast<const char*>(NULL));
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
    QEL_OPERATION("QELString QELFile::getName() const");
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
    QEL_OPERATION("QELString QELFile::getDirectory() const");
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
// (deliberate).
QELString QELFile::getFileName() const
{
    QEL_OPERATION("QELString QELFile::getFileName() const");
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    QELString name = getName();
    const char* dot = strrchr(name.p, '.');
    if (dot == NULL)
        return name;
    return QELString(name.p, static_cast<int>(dot - name.p));
}

QELString QELFile::getFileExtension() const
{
    QEL_OPERATION("QELString QELFile::getFileExtension() const");
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    QELString name = getName();
    const char* dot = strrchr(name.p, '.');
    if (dot == NULL)
        return getEmptyTString();
    return QELString(dot + 1);
}

bool QELFile::exists() const
{
    QEL_OPERATION("bool QELFile::exists() const");
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    unsigned mode;
    long size;
    return statPath(path.p, mode, size);
}

// One bit of the mode, not the whole type field (deliberate: a socket counts).
bool QELFile::isFile() const
{
    QEL_OPERATION("bool QELFile::isFile() const");
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    unsigned mode;
    long size;
    return statPath(path.p, mode, size) && (mode & S_IFREG) != 0;
}

// One bit of the mode (deliberate: a block device counts).
bool QELFile::isDirectory() const
{
    QEL_OPERATION("bool QELFile::isDirectory() const");
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    unsigned mode;
    long size;
    return statPath(path.p, mode, size) && (mode & S_IFDIR) != 0;
}

int QELFile::getSize() const
{
    QEL_OPERATION("int QELFile::getSize() const");
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    unsigned mode;
    long size;
    if (!statPath(path.p, mode, size))
        return -1;
    return static_cast<int>(size);
}

bool QELFile::open(int mode)
{
    QEL_OPERATION("bool QELFile::open(int)");
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    if (!stream.is_open()) {
        QELString local = utf8ToLocale(path.p);
        if (stream.rdbuf()->open(local.p, (std::ios_base::openmode)mode) == NULL)
            stream.setstate(std::ios_base::failbit);
        else
            closeOnExec(*stream.rdbuf());
    }
    return !stream.fail();
}

bool QELFile::close()
{
    QEL_OPERATION("bool QELFile::close()");
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
    QEL_OPERATION("bool QELFile::remove()");
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    close();
    QELString local = utf8ToLocale(path.p);
    removePath(local.p);
    return true;
}

int QELFile::read(char* buffer, int count)
{
    stream.read(buffer, count);
    return static_cast<int>(stream.gcount());
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
    converter = qelNew<QELEncodingConverter>(name);
}

QELString QELFile::getDataEncoding() const
{
    if (converter == NULL)
        return getEmptyTString();
    return converter->getEncodingName();
}

// Reads physical lines in chunks of at most CHUNK_CHARACTERS and joins them
// into one logical line as the flags say.
QELString QELFile::getFullLine(int flags)
{
    QEL_OPERATION("QELString QELFile::getFullLine(int)");
    QEL_ASSERT(QEL_FILE_INVARIANT(this));
    QELString result;
    LineBuilder line(result, flags);
    LineChunks chunks(stream);
    for (;;) {
        const char* src;
        size_t n;
        const bool lineEnded = chunks.next(src, n);
        line.take(src, n);
        if (lineEnded && !line.continues())
            break;
        if (chunks.atEnd())
            break;
    }
    const size_t length = line.finish();
    if (chunks.nul) {
        result.unlock(false); // the length up to the first NUL
    } else {
        result.len = static_cast<int>(length); // unlocked, with the length already known
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

#if defined(__GLIBCXX__)
// libstdc++ keeps a file buffer's descriptor in a protected member; a class
// derived from the buffer may name it.
struct FileBufferDescriptor : std::filebuf {
    static int of(std::filebuf& buffer) { return (buffer.*(&FileBufferDescriptor::_M_file)).fd(); }
};
#endif

// Marks the descriptor of an opened file buffer close-on-exec, so that no
// program started later inherits the file. A file stream has no open mode
// for it: deliberately the flag follows the open, so a fork by another
// thread just between the two could still pass the file on.
void closeOnExec(std::filebuf& buffer)
{
#if defined(__GLIBCXX__)
    const int fd = FileBufferDescriptor::of(buffer);
    if (fd >= 0)
        fcntl(fd, F_SETFD, fcntl(fd, F_GETFD) | FD_CLOEXEC);
#else
    static_cast<void>(buffer);
#endif
}

bool statPath(const char* path, unsigned& mode, long& size)
{
    struct stat st;
    if (stat(path, &st) != 0)
        return false;
    mode = static_cast<unsigned>(st.st_mode);
    size = static_cast<long>(st.st_size);
    return true;
}

void removePath(const char* path)
{
    ::remove(path);
}

// The C library's tempnam, looked up at run time. Deliberate: a direct
// reference makes the linker warn that tempnam is dangerous on every link of
// this library, and the linker has no switch for that one warning. The names
// still come from tempnam itself, without creating the file, on purpose: callers
// get exactly tempnam's choice of directory and name.
typedef char* (*TempnamFunction)(const char* directory, const char* prefix);
TempnamFunction systemTempnam()
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
