# Compile options of all targets of this repository.
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
                    -Woverloaded-virtual -Wformat=2 -Werror)
# The health log prints the date in the locale's own form, whatever that does with the century.
add_compile_options(-Wno-format-y2k)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # g++ 12 sees overlaps of 2^63 bytes in inlined std::string concatenations.
    add_compile_options(-Wno-restrict)
endif()

if(CORVANEPI_SANITIZE)
    add_compile_options(-fsanitize=${CORVANEPI_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${CORVANEPI_SANITIZE})
    if(CORVANEPI_SANITIZE MATCHES "thread")
        # Asio uses std::atomic_thread_fence, which the thread sanitizer does not model; g++ says so with -Wtsan.
        add_compile_options(-Wno-tsan)
    endif()
    if(CORVANEPI_SANITIZE MATCHES "address")
        # g++ 12 with this sanitizer reports std::string and regex internals as maybe uninitialized.
        add_compile_options(-Wno-maybe-uninitialized)
    endif()
endif()

if(CORVANEPI_COVERAGE)
    add_compile_options(--coverage)
    add_link_options(--coverage)
endif()

if(CORVANEPI_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=address,undefined)
endif()

# corvanepi_library(NAME SOURCES ... HEADERS ... LINK ...): one folder of the plug-in, with hidden symbols. Its headers
# are compiled one by one by the target all_verify_interface_header_sets.
function(corvanepi_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;HEADERS;LINK;PRIVATE_LINK" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_sources(${name} PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${ARG_HEADERS})
    set_target_properties(${name} PROPERTIES VERIFY_INTERFACE_HEADER_SETS ON CXX_VISIBILITY_PRESET hidden
                                             VISIBILITY_INLINES_HIDDEN ON)
    target_link_libraries(${name} PUBLIC ${ARG_LINK} PRIVATE ${ARG_PRIVATE_LINK})
endfunction()
