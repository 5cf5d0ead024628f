# cmake -D OUTPUT=page_files.cpp -D FOLDER=page -D FILES=index.html;js/main.js -P page_files.cmake
# Writes the files as what floor/requests/page_files.h declares.

set(types
    html "text/html\; charset=utf-8"
    css "text/css\; charset=utf-8"
    js "text/javascript\; charset=utf-8"
    svg "image/svg+xml")

set(contents "")
set(rows "")
foreach(name IN LISTS FILES)
    set(file ${FOLDER}/${name})
    cmake_path(GET name EXTENSION LAST_ONLY ending)
    string(SUBSTRING "${ending}" 1 -1 ending)
    list(FIND types "${ending}" at)
    math(EXPR at "${at} + 1")
    list(GET types ${at} type)
    file(SHA256 ${file} hash)
    string(SUBSTRING ${hash} 0 16 tag)
    file(SIZE ${file} size)
    file(READ ${file} bytes HEX)
    string(REGEX REPLACE "(..)" "\\\\x\\1" bytes "${bytes}")
    string(MAKE_C_IDENTIFIER "content of ${name}" variable)
    string(APPEND contents "constexpr char ${variable}[] = \"${bytes}\";\n")
    string(APPEND rows
        "    {\"/${name}\", \"${type}\", \"\\\"${tag}\\\"\", {${variable}, ${size}}},\n")
endforeach()

file(WRITE ${OUTPUT} "#include \"floor/requests/page_files.h\"

namespace shopfloor {

namespace {

${contents}
constexpr page_file files[] = {
${rows}};

} // namespace

std::span<const page_file> page_files()
{
    return files;
}

} // namespace shopfloor
")
