#pragma once

#include <span>
#include <string_view>

namespace shopfloor {

/** A file of floor/page. */
struct page_file {
    std::string_view path; // "/index.html"
    std::string_view type;
    std::string_view tag; // changes with the content: an ETag, in its quotes
    std::string_view content;
};

/** All of them; the build puts them into the program. */
std::span<const page_file> page_files();

} // namespace shopfloor
