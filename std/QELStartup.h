// QELStartup: the order in which the library's process-wide objects are
// built when the library is loaded. Internal.
//
// Each object another one's constructor may use is marked QEL_BUILT_AT(stage)
// with one of the stages below; a lower stage is built earlier and, since
// objects are destroyed in reverse, destroyed later. The order therefore does
// not depend on the order in which the sources are linked. Objects of the
// library without a stage are built after every staged one. Only objects of
// class type can carry a stage; a scalar built at load time (the hash's AVX2
// flag) must give correct results while it still reads zero.
#ifndef QELSTARTUP_H
#define QELSTARTUP_H

// Values that need nothing but the constant empty buffer: the shared empty
// string and temporary blob, the log frame texts, the text literal registry's
// strings.
#define QEL_STAGE_VALUES 1001
// The library-wide UTF-8 and locale converters (ICU).
#define QEL_STAGE_CONVERTERS 1002
// `config`: reads QELSetup.xml through strings, converters and Xerces-C.
#define QEL_STAGE_CONFIGURATION 1003
// `QEL_STDERR`: its level comes from the configuration.
#define QEL_STAGE_LOG_SINKS 1004

#define QEL_BUILT_AT(stage) __attribute__((init_priority(stage)))

#endif
