# Compiler settings shared by every target of the project.

set(LIMITRA_WARNINGS -Wall -Wextra -Wpedantic -Wshadow -Wold-style-cast -Wnon-virtual-dtor
    # Designated initializers leave the other members at their defaults on purpose.
    -Wno-missing-field-initializers)

if(LIMITRA_FUZZ)
    # Every object is instrumented for the fuzzer's coverage; the targets link
    # its driver (see fuzz/).
    add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer
                        -fno-sanitize-recover=undefined)
    add_link_options(-fsanitize=address,undefined)
elseif(LIMITRA_COVERAGE)
    add_compile_options(--coverage)
    add_link_options(--coverage)
elseif(LIMITRA_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
    add_link_options(-fsanitize=address,undefined)
endif()

# Applies the project's warnings and include roots (the sources and the
# generated headers) to a target of ours
# (not to third-party code).
function(limitra_configure_target target)
    target_compile_options(${target} PRIVATE ${LIMITRA_WARNINGS})
    target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR}/generated)
    target_compile_definitions(${target} PRIVATE QT_NO_KEYWORDS QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII
                                                 QT_NO_NARROWING_CONVERSIONS_IN_CONNECT)
endfunction()

function(limitra_add_library target)
    add_library(${target} STATIC ${ARGN})
    limitra_configure_target(${target})
endfunction()

# A part of the core (model, system, paths, collectors). Its objects go into
# the one shared library `limitra_core`, which the executable, the graphical
# module and the tests link, so that the core's static state (the blocking-work
# thread pool, the SIGPIPE set-up) exists once per process.
function(limitra_add_core_library target)
    add_library(${target} OBJECT ${ARGN})
    limitra_configure_target(${target})
    set_property(GLOBAL APPEND PROPERTY LIMITRA_CORE_PARTS ${target})
endfunction()
