#!/bin/sh
# A child of the demonstration: it logs at several levels, from the shell
# through `qellog emit` and from a program built on the library, then exits 2.
echo "demo child: my standard output reaches the parent as plain text"
qellog emit --level STATUS "demo child started in $(pwd)"
qellog emit --level WARNING --code DISK-90 "disk almost full"
qellog emit --level DEBUG "a detail for debugging only"
echo "a plain line on standard error" >&2
qel-example-logging --child > /dev/null
qellog emit --level ERROR --code E42 "could not finish <the job> & gave up"
exit 2
