// The page's parts: its own HTML, style and script (built in), and the charting libraries it
// loads from the system's JavaScript packages or from beside the installed host tools.
#pragma once

#include <string>
#include <vector>

namespace view {

extern const char kPageHtml[];
extern const char kPageCss[];
extern const char kPageJs[];

struct Library {
    const char *name;        // the file, as /lib/<name> on the live page
    const char *system_dir;  // where the system's package puts it
    const char *type;        // its content type
};
const std::vector<Library> &libraries();
// The library's text, or false with `error` saying what is missing where.
bool read_library(const Library &lib, std::string &text, std::string &error);

// The page with its title, what goes in its head, and what ends its body.
std::string fill_page(const std::string &title, const std::string &head, const std::string &data);

}  // namespace view
