# sorvane_embed_resources(VARIABLE TYPE/NAME.EXTENSION...)
# Sets VARIABLE to a source that holds these files of resources/, to be found by resource(TYPE, NAME). It is compiled anew
# whenever one of them changes.
function(sorvane_embed_resources variable)
    set(SORVANE_RESOURCE_FILES "")
    set(SORVANE_RESOURCE_ENTRIES "")
    set(paths "")
    foreach(file IN LISTS ARGN)
        cmake_path(GET file PARENT_PATH type)
        cmake_path(GET file STEM LAST_ONLY name)
        set(path "${PROJECT_SOURCE_DIR}/resources/${file}")
        string(MAKE_C_IDENTIFIER "sorvane_resource_${file}" symbol)
        list(APPEND paths "${path}")
        string(APPEND SORVANE_RESOURCE_FILES
            "extern \"C\" [[gnu::visibility(\"hidden\")]] const char ${symbol}[];\n"
            "extern \"C\" [[gnu::visibility(\"hidden\")]] const char ${symbol}_end[];\n"
            "__asm__(R\"(\n"
            "    .pushsection .rodata, \"a\", @progbits\n"
            "    .balign 16\n"
            "    .globl ${symbol}\n"
            "    .hidden ${symbol}\n"
            "    .globl ${symbol}_end\n"
            "    .hidden ${symbol}_end\n"
            "${symbol}:\n"
            "    .incbin \"${path}\"\n"
            "${symbol}_end:\n"
            "    .byte 0\n"
            "    .popsection\n"
            ")\");\n")
        string(APPEND SORVANE_RESOURCE_ENTRIES
            "    {\"${type}\", \"${name}\", ${symbol}, ${symbol}_end},\n")
    endforeach()
    set(source "${CMAKE_CURRENT_BINARY_DIR}/Resources.cpp")
    configure_file(Resources.cpp.in "${source}" @ONLY)
    set_source_files_properties("${source}" PROPERTIES OBJECT_DEPENDS "${paths}")
    set(${variable} "${source}" PARENT_SCOPE)
endfunction()
