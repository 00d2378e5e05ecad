// Writes the reference of the link's messages as the virtual aircraft speaks them, from the
// message table (Markdown):
//   link_reference_gen link_reference.md
// One section per module, one table per message: each field's offset, type, meaning and unit.
#include <algorithm>
#include <cstdio>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "envelope.h"
#include "link_messages.h"
#include "link_modules.h"

namespace {

using cw::trace::Dir;
using cw::trace::Field;
using cw::trace::Message;
using cw::trace::Module;
using cw::trace::Type;

const char *dir_name(Dir d) {
    switch (d) {
        case Dir::Request:
            return "request";
        case Dir::Answer:
            return "answer";
        case Dir::Push:
            return "push";
    }
    return "?";
}

// The modules' rows in the order of their sections.
std::vector<const Module *> sections() {
    std::vector<const Module *> rows;
    for (const Module &m : cw::trace::kModules) {
        rows.push_back(&m);
    }
    std::sort(rows.begin(), rows.end(), [](const Module *a, const Module *b) { return a->section < b->section; });
    return rows;
}

std::string type_of(const Field &f) {
    const std::string t = cw::trace::type_info(f.type).name;
    if (f.count == 0) {
        return t + " to the end";
    }
    if (f.type == Type::Bytes) {
        return "bytes[" + std::to_string(f.count) + "]";
    }
    return f.count == 1 ? t : t + "[" + std::to_string(f.count) + "]";
}

std::string route_of(const Message &m) {
    char buf[64];
    if (m.dir == Dir::Push) {
        std::snprintf(buf, sizeof buf, "%u/%u", m.set, m.id);
    } else if (m.receiver == cw::trace::kAnyReceiver) {
        std::snprintf(buf, sizeof buf, "%u/%u, any receiver", m.set, m.id);
    } else {
        std::snprintf(buf, sizeof buf, "%u/%u, receiver 0x%04X", m.set, m.id, m.receiver);
    }
    std::string s = buf;
    if (m.len != cw::trace::kAnyLen) {
        s += ", " + std::to_string(m.len) + " bytes";
    }
    return s;
}

std::string joined(const std::set<std::string> &items) {
    std::string s;
    for (const std::string &i : items) {
        s += (s.empty() ? "" : ", ") + i;
    }
    return s.empty() ? "none" : s;
}

std::string joined(const std::set<std::pair<int, int>> &routes) {
    std::string s;
    for (const auto &[set, id] : routes) {
        s += (s.empty() ? "" : ", ") + std::to_string(set) + "/" + std::to_string(id);
    }
    return s.empty() ? "none" : s;
}

std::string joined(const std::set<int> &values) {
    std::string s;
    for (const int v : values) {
        s += (s.empty() ? "" : ", ") + std::to_string(v);
    }
    return s.empty() ? "none" : s;
}

// One line per module: the receivers its commands go to, their command sets, the pushes it sends.
void modules(FILE *out) {
    std::fprintf(out, "| Module | Receivers | Command sets | Pushes |\n|---|---|---|---|\n");
    for (const Module *row : sections()) {
        const Module &mod = *row;
        std::set<std::string> receivers;
        std::set<int> sets;
        std::set<std::pair<int, int>> pushes;
        for (const Message &m : cw::trace::kMessages) {
            if (!cw::trace::belongs(m, mod) || m.dir == Dir::Answer) {
                continue;
            }
            if (m.dir == Dir::Push) {
                pushes.insert({m.set, m.id});
                continue;
            }
            char buf[16];
            std::snprintf(buf, sizeof buf, "0x%04X", m.receiver);
            receivers.insert(m.receiver == cw::trace::kAnyReceiver ? "the device's own" : buf);
            sets.insert(m.set);
        }
        std::fprintf(out, "| %s (`%.*s`) | %s | %s | %s |\n", mod.title, static_cast<int>(mod.name.size()),
                     mod.name.data(), joined(receivers).c_str(), joined(sets).c_str(), joined(pushes).c_str());
    }
}

// A table cell's text: a bar would end the cell.
std::string cell(const char *text) {
    std::string s;
    for (const char *p = text; p != nullptr && *p != '\0'; ++p) {
        s += *p == '|' ? "\\|" : std::string(1, *p);
    }
    return s;
}

// A field's meaning, then the values it names ("take-off 1, land 6").
std::string meaning(const Field &f) {
    std::string s = cell(f.meaning);
    for (size_t i = 0; i < f.values.size(); ++i) {
        char v[32];
        const uint32_t x = f.values[i].value;
        const bool bit = x >= 8 && (x & (x - 1)) == 0;  // a flag bit reads better in hex
        std::snprintf(v, sizeof v, bit ? " 0x%02X" : " %u", static_cast<unsigned>(x));
        s.append(i == 0 ? (s.empty() ? "named values: " : "; named values: ") : ", ")
            .append(f.values[i].name)
            .append(v);
    }
    return s;
}

// Where an answer's result byte is, when it is not its first byte.
std::string result_note(const Message &m) {
    return m.dir == Dir::Answer && m.result_at != 0 ? "The result byte is byte " + std::to_string(m.result_at) + ".\n\n"
                                                    : std::string();
}

void message(FILE *out, const Message &m) {
    std::fprintf(out, "### %s (%s %s)\n\n", m.name, dir_name(m.dir), route_of(m).c_str());
    if (m.field_count() == 0) {
        std::fprintf(out, "No bytes.\n\n");
        return;
    }
    std::fprintf(out, "%s| Offset | Field | Type | Meaning | Unit |\n|---:|---|---|---|---|\n", result_note(m).c_str());
    for (const Field &f : m.field_list()) {
        std::fprintf(out, "| %u | `%s` | %s | %s | %s |\n", f.offset, f.name, type_of(f).c_str(), meaning(f).c_str(),
                     cell(f.unit).c_str());
    }
    std::fprintf(out, "\n");
}

// The virtual aircraft's envelope: its limits, the values its bytes accept, its refusals.
void envelope(FILE *out) {
    namespace e = sim::envelope;
    std::fprintf(out,
                 "\n## The envelope and the refusals\n\n"
                 "The virtual aircraft's limits, each a default a scenario changes (its `[limits]` key, or the "
                 "table named). A command beyond a limit is carried out at the limit, with the aircraft's "
                 "line and a mistake in the flight report.\n\n"
                 "| Limit | Scenario key | Default | Unit | Commands |\n|---|---|---:|---|---|\n");
    for (const e::Limit &l : e::kLimits) {
        // The key in backticks, built with append (g++ 12's -Wrestrict misjudges literal + string at -O2).
        const std::string key = *l.key != '\0' ? std::string("`").append(l.key).append("`") : std::string();
        std::fprintf(out, "| %s | %s | %g | %s | %s |\n", cell(l.what).c_str(), key.c_str(), l.value, l.unit,
                     l.commands);
    }
    std::fprintf(out,
                 "\nThe values a byte accepts; any other is ignored, with the aircraft's line naming them.\n\n"
                 "| Command | Field | Accepted |\n|---|---|---|\n");
    for (const e::Accepted &a : e::kAccepted) {
        std::fprintf(out, "| %s | `%s` | %s |\n", a.command, a.field, a.values().c_str());
    }
    std::fprintf(out,
                 "\nThe result bytes of the models' refusals (0 is success), each told to the application "
                 "refused in its report.\n\n| Module | Byte | Commands | Meaning |\n|---|---:|---|---|\n");
    for (const e::Result &r : e::kResults) {
        std::fprintf(out, "| %s | %u | %s | %s |\n", r.module, r.byte, r.commands, cell(r.meaning).c_str());
    }
}

const char *kHead = R"(# The link's messages as the virtual aircraft speaks them {#link_reference}

Generated from the link's message table by `link_reference_gen` when the host tools are built;
do not edit: change the table (`cw_basic/cw_communication/cw_link/cw_messages.h`).

The library carries these messages and hands the records to applications unchanged: the meaning
of a record's fields belongs to the module that fills it. This reference states the conventions of
the virtual aircraft (the module models behind the host stand-in): what each model writes into a
field and reads from it, and in which unit. An application written against them flies the virtual
aircraft as it is meant to; the aircraft's own modules may differ where a field is left blank.

Conventions: offsets count bytes from the start of the message's payload; every number is
little-endian; `u16[4]` is four consecutive u16; "to the end" repeats up to the end of the
message. A request's answer is the buffer the module wrote into (its length is the caller's);
an answer of one byte without a section of its own is the module's result byte, 0 for success.
A push may be shorter than its last field. Heights and positions count from the take-off point,
north and east; angles are pitch, roll and yaw in that order unless named.
)";

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: link_reference_gen out.md\n");
        return 2;
    }
    FILE *out = std::fopen(argv[1], "w");
    if (out == nullptr) {
        std::perror(argv[1]);
        return 1;
    }
    std::fputs(kHead, out);
    std::fprintf(out, "\n## Modules\n\n");
    modules(out);
    envelope(out);
    size_t written = 0;
    for (const Module *mod : sections()) {
        std::fprintf(out, "\n## %s (`%.*s.*`)\n\n", mod->title, static_cast<int>(mod->name.size()), mod->name.data());
        for (const Message &m : cw::trace::kMessages) {
            if (cw::trace::belongs(m, *mod)) {
                message(out, m);
                ++written;
            }
        }
    }
    if (written != cw::trace::kMessages.size()) {
        std::fprintf(stderr, "link_reference_gen: %zu message(s) of the table belong to no module section\n",
                     cw::trace::kMessages.size() - written);
        std::fclose(out);
        std::remove(argv[1]);
        return 1;
    }
    return std::fclose(out) == 0 ? 0 : 1;
}
