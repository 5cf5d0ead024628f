# Run with -P at build time: writes a file that includes several files of tests, so that they are compiled as one.
# Each of them is put into a namespace, as tests of different things have names in common; what they include comes
# ahead of that, once. Set by tests/CMakeLists.txt: output, sources (absolute paths, separated by colons).
string(REPLACE ":" ";" sources "${sources}")
foreach(source IN LISTS sources)
    get_filename_component(folder ${source} DIRECTORY)
    get_filename_component(name ${source} NAME_WE)
    file(STRINGS ${source} lines REGEX "^#include [\"<]")
    foreach(line IN LISTS lines)
        # One that stands beside the source.
        string(REGEX REPLACE "^#include [\"<]([^\">]+).*" "\\1" header "${line}")
        if(EXISTS ${folder}/${header})
            set(line "#include \"${folder}/${header}\"")
        endif()
        list(APPEND headers ${line})
    endforeach()
    list(APPEND bodies "namespace { namespace of_${name} {" "#include \"${source}\"" "}}")
endforeach()
list(REMOVE_DUPLICATES headers)
list(JOIN headers "\n" headers)
list(JOIN bodies "\n" bodies)
file(WRITE ${output} "${headers}\n${bodies}\n")
