// The documentation follows the commands: each command's @return lines in its public header and
// its row of the README's results table name what the fault table shows it returns.
#include <fstream>
#include <sstream>
#include <string>

#include "commands.h"
#include "cw_test.h"

using namespace cwt;

namespace {

std::string read(const std::string &path) {
    std::ifstream in(std::string(CW_SOURCE_DIR) + "/" + path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// The function's name in a fault-table call.
std::string name_of(const char *call) {
    const std::string c = call;
    return c.substr(0, c.find('('));
}

// The @return text of the declaration of `fn` in `header`, or "".
std::string returns_of(const std::string &header, const std::string &fn) {
    size_t decl = header.find(" " + fn + "(");
    while (decl != std::string::npos && header.compare(header.rfind('\n', decl) + 1, 7, "CW_API ") != 0) {
        decl = header.find(" " + fn + "(", decl + 1);
    }
    const size_t doc = header.rfind("/**", decl);
    const size_t ret = header.find("@return", doc);
    if (decl == std::string::npos || doc == std::string::npos || ret == std::string::npos || ret > decl) {
        return "";
    }
    return header.substr(ret, header.find("*/", ret) - ret);
}

// The README's results row whose functions cell names `fn` in full, by its last words
// ("`_submode_set`") or by a prefix ("`cw_v1_battery_api_*`"), or "".
std::string row_of(const std::string &readme, const std::string &fn) {
    std::istringstream table(readme.substr(readme.find("## Results")));
    std::string row;
    while (std::getline(table, row)) {
        const size_t cell_end = row.find('|', 1);
        if (row.rfind("| ", 0) != 0 || cell_end == std::string::npos) {
            continue;
        }
        const std::string cell = row.substr(0, cell_end);
        for (size_t cut = 0; cut != std::string::npos; cut = fn.find('_', cut + 1)) {
            // Built with append: g++ 12's -Wrestrict misjudges "literal" + std::string at -O2.
            const std::string whole = std::string("`").append(fn.substr(cut)).append("`");
            const std::string prefix = std::string("`").append(fn.substr(0, cut + 1)).append("*`");
            if (cell.find(whole) != std::string::npos || cell.find(prefix) != std::string::npos) {
                return row;
            }
        }
    }
    return "";
}

TEST(Docs, ReturnLinesAndResultsTableFollowTheCommands) {
    const std::string headers = read("include/cirrow/cw_flight.h") + read("include/cirrow/cw_vision.h") +
                                read("include/cirrow/cw_camera.h") + read("include/cirrow/cw_gimbal.h") +
                                read("include/cirrow/cw_wifi.h") + read("include/cirrow/cw_device.h");
    const std::string readme = read("README.md");
    ASSERT_NE(readme.find("## Results"), std::string::npos);
    for (size_t i = 0; i < std::size(kCommands); ++i) {
        const std::string fn = name_of(kCommands[i].name);
        const Expect &e = kExpect[i];
        SCOPED_TRACE(fn);
        const std::string ret = returns_of(headers, fn);
        const std::string row = row_of(readme, fn);
        ASSERT_FALSE(ret.empty());
        ASSERT_FALSE(row.empty());
        for (const std::string &doc : {ret, row}) {
            if (doc.find("step") != std::string::npos) {
                continue;  // a sequence of commands returns what its failing step returned
            }
            // A refusal or a failed send that becomes CW_ERR_ACK is documented as such.
            if (e.refuse == kAck || e.link == kAck) {
                EXPECT_NE(doc.find("CW_ERR_ACK"), std::string::npos) << doc;
            }
            // The link's own code passed on is documented as the middleware's.
            if (e.link == kLink) {
                EXPECT_NE(doc.find("middleware"), std::string::npos) << doc;
            }
            // The module's own result byte returned is documented as its result byte.
            if (e.refuse != kAck && e.refuse != 0) {
                EXPECT_NE(doc.find("result byte"), std::string::npos) << doc;
            }
        }
    }
}

}  // namespace
