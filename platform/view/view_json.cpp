#include "view_json.h"

#include <cmath>
#include <cstdio>

namespace view::json {

std::string number(double v) {
    if (!std::isfinite(v)) {
        return "null";
    }
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.10g", v);
    return buf;
}

std::string quote(std::string_view s) {
    std::string out = "\"";
    for (size_t i = 0; i < s.size(); ++i) {
        const auto c = static_cast<unsigned char>(s[i]);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c == '/' && i > 0 && s[i - 1] == '<') {
            out += "\\/";
        } else if (c < 0x20) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", c);
            out += buf;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

Writer &Writer::values(std::initializer_list<double> v) {
    for (const double x : v) {
        item_start().raw(number(x));
    }
    return *this;
}

Writer &Writer::item_start() {
    if (!first_) {
        out_ += ',';
    }
    first_ = false;
    return *this;
}

}  // namespace view::json
