// A small JSON writer for the view's state: numbers (NaN as null), strings, arrays and objects.
// Strings are safe to inline in a page's <script> ("</" is written "<\/").
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace view::json {

std::string number(double v);
std::string quote(std::string_view s);

class Writer {
public:
    Writer() : out_("{") {}
    Writer &field(const char *name, double v) { return key(name).raw(number(v)); }
    Writer &field(const char *name, std::string_view s) { return key(name).raw(quote(s)); }
    Writer &array(const char *name) { return key(name).open('['); }
    Writer &end_array() { return close(']'); }
    Writer &object() { return item_start().open('{'); }
    Writer &end_object() { return close('}'); }
    Writer &item(std::string_view s) { return item_start().raw(quote(s)); }
    // The numbers as elements of the array being written, or as one array of their own (tuple).
    Writer &values(std::initializer_list<double> v);
    Writer &tuple(std::initializer_list<double> v) { return item_start().open('[').values(v).close(']'); }
    std::string done() { return out_ + "}"; }

private:
    Writer &raw(const std::string &s) {
        out_ += s;
        return *this;
    }
    Writer &item_start();
    Writer &key(const char *name) { return item_start().raw(quote(name) + ":"); }
    Writer &open(char c) {
        out_ += c;
        first_ = true;
        return *this;
    }
    Writer &close(char c) {
        out_ += c;
        first_ = false;
        return *this;
    }
    std::string out_;
    bool first_ = true;
};

}  // namespace view::json
