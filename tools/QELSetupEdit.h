// QELSetupEdit: changes values of a setup file in place for qelconfig,
// under a lock, keeping every other byte of the file.
#ifndef QELSETUPEDIT_H
#define QELSETUPEDIT_H

#include <cerrno>
#include <cstdio>
#include <string>
#include <vector>

#include "QELSetup.h"
#include "QELString.h"

// One value to write: the slash path of an element without child elements
// (below "Setup") and its new text.
struct SetupChange {
    QELString path;
    QELString value;
};

// A path and the value of one element without child elements.
typedef SetupChange SetupLeaf;

// Every element without child elements of a read setup document, in
// document order, with its text. Where siblings share a name only the first
// is listed, since a path reaches only that one.
std::vector<SetupLeaf> setupLeaves(QELSetup& setup);

// True when the element at `path` exists and has no child elements.
bool isSetupLeaf(QELSetup& setup, const QELString& path);

// The new bytes of a setup file whose leaf elements at the changes' paths
// get the changes' values (escaped); everything else is `original` byte for
// byte. Each path appears once among the changes. False when the text
// cannot be edited so: it is not UTF-8 (or plain ASCII or Latin-1 with only
// ASCII values), not well-formed, or lacks a path.
bool spliceSetupValues(const std::string& original, const std::vector<SetupChange>& changes, std::string& result);

// Holds an advisory lock (flock) on "FILE.lock" beside the setup file, so
// that concurrent read-modify-write cycles run one after the other. The lock
// goes with the object.
class SetupFileLock {
public:
    SetupFileLock() = default;
    ~SetupFileLock();
    // Takes the lock for the (symlink-resolved) file, waiting for it.
    // Returns an errno value, 0 on success; `lockPath` names the lock file.
    int acquire(const QELString& file, QELString& lockPath);

private:
    int fd = -1;
    SetupFileLock(const SetupFileLock&) = delete;
    SetupFileLock& operator=(const SetupFileLock&) = delete;
};

// Replaces `file` (through a symlink: the link is kept) by a temporary file
// in the same directory that `fill` writes (returning an errno value) and
// `verify` accepts, with the old file's permissions, synced before the
// rename: readers see the old or the new file, never a part. Returns an
// errno value, 0 on success, EPROTO when `verify` refuses; the file is
// unchanged on any failure.
template <typename Fill, typename Verify> int replaceSetupFile(const QELString& file, Fill fill, Verify verify);

// The resolved target and a fresh temporary file beside it; the caller
// fills the temporary file by name. Returns an errno value, 0 on success.
int openReplacement(const QELString& file, QELString& target, QELString& temporary);
// Gives the temporary file the target's permissions, syncs it and renames
// it over the target; removes it on failure. Returns an errno value.
int commitReplacement(const QELString& target, const QELString& temporary);

template <typename Fill, typename Verify> int replaceSetupFile(const QELString& file, Fill fill, Verify verify)
{
    QELString target, temporary;
    int error = openReplacement(file, target, temporary);
    if (error != 0)
        return error;
    error = fill(temporary);
    if (error == 0 && !verify(temporary))
        error = EPROTO;
    if (error != 0) {
        std::remove(temporary.chars());
        return error;
    }
    return commitReplacement(target, temporary);
}

#endif
