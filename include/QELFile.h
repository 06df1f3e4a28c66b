// QELFile: a file path joined to a file stream, path and disk queries, the
// logical line reader getFullLine, and temporary file names.
#ifndef QELFILE_H
#define QELFILE_H

#include <fstream>

#include "QELExport.h"
#include "QELString.h"

class QELEncodingConverter;

// The class invariant, over any file pointer expression `f`: the path is a
// valid string.
// clang-format off
#define QEL_FILE_INVARIANT(f) QEL_STRING_INVARIANT(&(f)->path)
// clang-format on

// getFullLine flags; each switches on one rule of the line reader.
#define QEL_LINE_BACKSLASH_CONTINUES 0x01 // "\" at the end continues, "\\" -> "\"
#define QEL_LINE_BACKSLASH_JOINS 0x02     // "\" at the end -> LF, "\\" at the end dropped
#define QEL_LINE_QUOTES_CONTINUE 0x04     // a line ending inside quotes continues
#define QEL_LINE_TRIPLE_QUOTES 0x08       // a third quote in a row does not toggle
#define QEL_LINE_ESCAPED_QUOTES 0x10      // "\"" -> '"' without toggling, "\\" -> "\"
#define QEL_LINE_ESCAPES 0x20             // "\a" "\b" "\f" "\n" "\r" "\t" "\v", "\\" -> "\"
#define QEL_LINE_TRIM 0x40                // drop codes below 33 at both ends

// A UTF-8 path (made absolute from PWD when set from a string) and a file
// stream on it, owned and closed at first. The optional data encoding
// converter is owned and only recorded. Copies take the path alone.
// Paths are converted to the locale encoding before the system sees them.
class QEL_API QELFile {
public:
    QELString path;
    std::fstream stream;
    QELEncodingConverter* converter;

    QELFile();
    QELFile(const QELString& path);
    // Copies the path only, as it stands; the copy is closed, no converter.
    QELFile(const QELFile& file);
    ~QELFile();

    QELFile& operator=(const QELString& path);
    // Copies the path only; this file keeps its stream and its converter.
    QELFile& operator=(const QELFile& file);

    // A file on tempnam(getQELTempPath(), prefix); neither created nor opened.
    static QELFile makeTempFile(const QELString& prefix);

    // Path queries (the disk is not touched).
    const QELString& getPath() const;
    bool isAbsolute() const; // an empty path is relative
    bool isRelative() const;
    QELString getName() const;          // last component, trailing "/" ignored
    QELString getDirectory() const;     // up to the "/" before the name; "" without "/"
    QELString getFileName() const;      // name before its last "."
    QELString getFileExtension() const; // name after its last "."; "" without "."

    // Disk queries: one stat each, false (or -1) when stat fails. The type
    // tests look at one mode bit each (deliberate: a socket is a file).
    bool exists() const;
    bool isFile() const;
    bool isDirectory() const;
    int getSize() const;

    // Opens with the standard open-mode bits unless already open; false when
    // the stream is then failed or bad.
    bool open(int mode);
    // Clears the state, flushes and closes; false when closing failed.
    bool close();
    // Closes and deletes the file; always true.
    bool remove();
    // Returns the number of bytes actually read.
    int read(char* buffer, int count);
    // Returns true on FAILURE and false on success (inverted, deliberate).
    bool write(char* buffer, int count);
    // Writes the text up to its first terminator.
    QELFile& operator<<(const QELString& text);
    QELFile& operator<<(QELFile& (*manipulator)(QELFile&));
    // Later writes go to the process's standard output / standard error.
    void setStdOut();
    void setStdErr();

    // Reads one logical line (see the QEL_LINE_ flags) without its line
    // feed. Gives the empty line at end of file; never fails otherwise.
    QELString getFullLine(int flags);

    // Replaces the recorded data encoding; "" when none is recorded.
    void setDataEncoding(const QELString& name);
    QELString getDataEncoding() const;

    // Sets the path from p, completed from PWD when p is relative.
    void computeAbsolutePath(const QELString& p);
};

// tempnam(directory, "QEL") as a string; empty when tempnam fails.
QEL_API QELString getTmpFileName(const char* directory);

#endif
