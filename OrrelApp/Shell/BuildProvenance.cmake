# Writes the header that tells which sources a build came from: the git revision, whether the
# work tree had changes, and the source folder. Run on every build; the header is rewritten only
# when its text changes, so an unchanged tree recompiles nothing.
#
# Input: SOURCE_DIR, OUTPUT, VERSION. Without git, or outside a repository (a tarball), the revision is
# empty and the program calls the build "development".

set(revision "")
set(dirty 0)
find_program(GIT_EXECUTABLE git)
if(GIT_EXECUTABLE)
    execute_process(COMMAND "${GIT_EXECUTABLE}" -C "${SOURCE_DIR}" rev-parse --short=12 HEAD
                    OUTPUT_VARIABLE revision OUTPUT_STRIP_TRAILING_WHITESPACE
                    RESULT_VARIABLE revisionStatus ERROR_QUIET)
    if(NOT revisionStatus EQUAL 0)
        set(revision "")
    endif()
endif()
if(NOT revision STREQUAL "")
    # Untracked files are left out: a stray build folder or editor file changes no source.
    execute_process(COMMAND "${GIT_EXECUTABLE}" -C "${SOURCE_DIR}" status --porcelain
                            --untracked-files=no
                    OUTPUT_VARIABLE changes RESULT_VARIABLE statusCode ERROR_QUIET)
    if(statusCode EQUAL 0 AND NOT changes STREQUAL "")
        set(dirty 1)
    endif()
endif()

function(orrel_c_string value out)
    string(REPLACE "\\" "\\\\" value "${value}")
    string(REPLACE "\"" "\\\"" value "${value}")
    set(${out} "\"${value}\"" PARENT_SCOPE)
endfunction()
orrel_c_string("${revision}" revisionLiteral)
orrel_c_string("${SOURCE_DIR}" sourceLiteral)
orrel_c_string("${VERSION}" versionLiteral)

set(text "// Generated at build time; do not edit.
#pragma once
#define ORREL_GIT_REVISION ${revisionLiteral}
#define ORREL_GIT_DIRTY ${dirty}
#define ORREL_SOURCE_PATH ${sourceLiteral}
#define ORREL_VERSION ${versionLiteral}
")
set(previous "")
if(EXISTS "${OUTPUT}")
    file(READ "${OUTPUT}" previous)
endif()
if(NOT previous STREQUAL text)
    file(WRITE "${OUTPUT}" "${text}")
endif()
