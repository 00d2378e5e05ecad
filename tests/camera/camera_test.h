// Shared by the camera tests.
#pragma once

#include <string>
#include <vector>

#include "cw_test.h"

namespace cwt {

using Texts = std::vector<std::string>;

// The lines written: leveled first ("L<level> text"), then usrlog ("U text").
inline Texts lines() {
    Texts out;
    for (const Line &l : leveled()) {
        out.push_back("L" + std::to_string(l.level) + " " + l.text);
    }
    for (const std::string &t : usrlog_texts()) {
        out.push_back("U " + t);
    }
    return out;
}

}  // namespace cwt
