# What both libraries share: their exported surface, how they bind their own
# symbols, and the build-order link between them.

# qel_library_defaults(target): hidden visibility, so that only what carries
# QEL_API or QEL_DATA (include/QELExport.h) is exported, and
# -Bsymbolic-functions, so that the library's calls to its own functions bind
# inside it at link time (a program's own `exec` changes nothing in it). Its
# data is bound inside by protected visibility instead (QEL_DATA), which
# still lets programs use it without a load-time copy.
# The linker script cmake/<target>.map keeps what visibility cannot hide (the
# C++ library's template instantiations) out of the exported set.
function(qel_library_defaults target)
  set_target_properties(${target} PROPERTIES
    CXX_VISIBILITY_PRESET hidden
    C_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  target_compile_features(${target} PUBLIC cxx_std_17)
  set(map ${PROJECT_SOURCE_DIR}/cmake/${target}.map)
  target_link_options(${target} PRIVATE -Wl,-Bsymbolic-functions -Wl,--version-script=${map})
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${map})
endfunction()

# The companion library is loaded with dlopen, so nothing links it; a parent
# build that only builds its own program must still build it. Every target
# that links QELStd in this build tree therefore also waits for QELI18n,
# through an interface library that carries the dependency (QELI18n itself,
# which links QELStd, is left out of it).
function(qel_link_companion_library)
  add_library(QELStdCompanion INTERFACE)
  add_dependencies(QELStdCompanion QELI18n)
  target_link_libraries(QELStd INTERFACE
    "$<BUILD_INTERFACE:$<$<NOT:$<STREQUAL:$<TARGET_PROPERTY:NAME>,QELI18n>>:QELStdCompanion>>")
endfunction()
