// The page, filled for the live server (scripts by URL) or as one self-contained file (scripts
// and data inlined).
#include "page.h"

#include <unistd.h>
#include <climits>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "live.h"
#include "view_json.h"

namespace view {

namespace {

void replace(std::string &s, const std::string &what, const std::string &with) {
    for (size_t at = s.find(what); at != std::string::npos; at = s.find(what, at + with.size())) {
        s.replace(at, what.size(), with);
    }
}

std::string escape_html(const std::string &s) {
    std::string out;
    for (const char c : s) {
        out += c == '<' ? "&lt;" : c == '>' ? "&gt;" : c == '&' ? "&amp;" : c == '"' ? "&quot;" : std::string(1, c);
    }
    return out;
}

// The directory of the running program, to find the scripts installed beside it.
std::string program_dir() {
    char buf[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
    if (n <= 0) {
        return ".";
    }
    std::string path(buf, static_cast<size_t>(n));
    return path.substr(0, path.rfind('/'));
}

}  // namespace

const std::vector<Library> &libraries() {
    static const std::vector<Library> libs = {{"d3.min.js", CW_VIEW_D3_DIR, "application/javascript"},
                                              {"dygraph.min.js", CW_VIEW_DYGRAPHS_DIR, "application/javascript"},
                                              {"dygraph.min.css", CW_VIEW_DYGRAPHS_DIR, "text/css"}};
    return libs;
}

bool read_library(const Library &lib, std::string &text, std::string &error) {
    // Installed with the host tools (share/cirrow/view beside bin/), else the system's package.
    for (const std::string &dir : {program_dir() + "/../share/cirrow/view", std::string(lib.system_dir)}) {
        std::ifstream in(dir + "/" + lib.name, std::ios::binary);
        if (in) {
            std::ostringstream all;
            all << in.rdbuf();
            text = all.str();
            return true;
        }
    }
    error = std::string("the page's script ") + lib.name + " is missing (looked in " + program_dir() +
            "/../share/cirrow/view and " + lib.system_dir + ")";
    return false;
}

std::string fill_page(const std::string &title, const std::string &head, const std::string &data) {
    std::string page = kPageHtml;
    replace(page, "@TITLE@", escape_html(title));
    replace(page, "@HEAD@", head);
    replace(page, "@DATA@", data);
    return page;
}

std::string render_html(const Flight &flight, const std::string &title, std::string &error) {
    std::string head;
    for (const Library &lib : libraries()) {
        std::string text;
        if (!read_library(lib, text, error)) {
            return "";
        }
        const bool css = lib.type[0] == 't';
        head += (css ? "<style>\n" : "<script>\n") + text + (css ? "\n</style>\n" : "\n</script>\n");
    }
    head += std::string("<style>\n") + kPageCss + "</style>\n";
    return fill_page(title, head,
                     "<script>window.CW_DATA = " + flight.json(0) + ";</script>\n<script>\n" + kPageJs + "</script>");
}

}  // namespace view
