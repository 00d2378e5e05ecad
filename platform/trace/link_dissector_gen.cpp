// Writes the Wireshark Lua dissector of the link from the message table:
//   link_dissector_gen cirrow.lua
// Every row becomes a set of fields named cirrow.<req|ans|push>.<message>.<field>; the dissector
// picks a capture record's row the way find() does. Two rows with the same field name stop the
// generator, so the build fails rather than the dissector.
#include <cstdio>
#include <set>
#include <string>

#include "link_messages.h"

namespace {

using cw::trace::Dir;
using cw::trace::Type;

const char *dir_word(Dir d) {
    switch (d) {
        case Dir::Request:
            return "req";
        case Dir::Answer:
            return "ans";
        case Dir::Push:
            return "push";
    }
    return "?";
}

const char *kHead = R"lua(-- Wireshark dissector of the cirrow v1 link, generated from the link's message table by
-- link_dissector_gen. Do not edit: change the table.
--   wireshark -X lua_script:cirrow.lua capture.pcap
-- Captures come from the host stand-in (MBUS_PCAP=path) with link type USER0 (147).
local p = Proto("cirrow", "cirrow v1 link")
local kinds = { [0] = "REQ", [1] = "ANS", [2] = "PUSH" }
local hf = {
  version = ProtoField.uint8("cirrow.version", "Version"),
  dir = ProtoField.uint8("cirrow.dir", "Direction", base.DEC, { [0] = "request", [1] = "answer", [2] = "push" }),
  set = ProtoField.uint8("cirrow.set", "Command set"),
  id = ProtoField.uint8("cirrow.id", "Command id"),
  receiver = ProtoField.uint16("cirrow.receiver", "Receiver", base.HEX),
  flags = ProtoField.uint8("cirrow.flags", "Flags", base.HEX),
  result = ProtoField.int32("cirrow.result", "Result"),
  seq = ProtoField.uint32("cirrow.seq", "Sequence"),
  timeout = ProtoField.uint32("cirrow.timeout", "Timeout (us)"),
  msg = ProtoField.string("cirrow.msg", "Message"),
  len = ProtoField.uint32("cirrow.len", "Length"),
}
local F = {}
)lua";

const char *kTail = R"lua(
for _, f in pairs(hf) do table.insert(fields, f) end
p.fields = fields

local function find(dir, set, id, rx, len)
  local best, score = nil, -1
  for _, m in ipairs(rows) do
    if m.dir == dir and m.set == set and m.id == id then
      local rx_exact = m.rx ~= ANY and m.rx == rx
      local len_exact = m.len ~= ANY and m.len == len
      if (m.rx == ANY or rx_exact) and (m.len == ANY or len_exact) then
        local s = (rx_exact and 2 or 0) + (len_exact and 1 or 0)
        if s > score then best, score = m, s end
      end
    end
  end
  if best == nil and dir == 1 and len == 1 then best = result_only end
  return best
end

local HEAD = 20

function p.dissector(buf, pinfo, tree)
  if buf:len() < HEAD then return 0 end
  pinfo.cols.protocol = "CIRROW"
  local dir, set, id = buf(1, 1):uint(), buf(2, 1):uint(), buf(3, 1):uint()
  local rx, len = buf(4, 2):le_uint(), buf:len() - HEAD
  local m = find(dir, set, id, rx, len)
  local name = m and m.name or "?"
  if dir == 1 and m == result_only then name = "result" end
  local t = tree:add(p, buf(), string.format("cirrow %s %d/%d %s", kinds[dir] or "?", set, id, name))
  t:add(hf.version, buf(0, 1))
  t:add(hf.dir, buf(1, 1))
  t:add(hf.set, buf(2, 1))
  t:add(hf.id, buf(3, 1))
  t:add_le(hf.receiver, buf(4, 2))
  t:add(hf.flags, buf(6, 1))
  t:add_le(hf.result, buf(8, 4))
  t:add_le(hf.seq, buf(12, 4))
  t:add_le(hf.timeout, buf(16, 4))
  t:add(hf.msg, name)
  t:add(hf.len, len)
  local to = dir == 2 and "" or string.format(" 0x%04x", rx)
  pinfo.cols.info = string.format("%-4s %d/%d%s %s #%d", kinds[dir] or "?", set, id, to, name, buf(12, 4):le_uint())
  if m == nil then return buf:len() end
  for _, f in ipairs(m.fields) do
    local off = HEAD + f.off
    if f.bytes then
      local n = f.count == 0 and (buf:len() - off) or math.min(f.count, buf:len() - off)
      if n > 0 then t:add(f.pf, buf(off, n)) end
    else
      local n = f.count == 0 and math.floor((buf:len() - off) / f.size) or f.count
      for i = 0, n - 1 do
        local at = off + i * f.size
        if at + f.size <= buf:len() then t:add_le(f.pf, buf(at, f.size)) end
      end
    end
  end
  return buf:len()
end

DissectorTable.get("wtap_encap"):add(wtap_encaps.USER0, p)
)lua";

// One row as a Lua table, declaring its fields on the way.
bool emit_row(FILE *out, const cw::trace::Message &m, const char *before, const char *after,
              std::set<std::string> &names) {
    std::string fields;
    for (const cw::trace::Field &f : m.field_list()) {
        const std::string abbrev = std::string("cirrow.") + dir_word(m.dir) + "." + m.name + "." + f.name;
        if (!names.insert(abbrev).second) {
            std::fprintf(stderr, "link_dissector_gen: %s is defined twice\n", abbrev.c_str());
            return false;
        }
        const cw::trace::TypeInfo &type = cw::trace::type_info(f.type);
        const char *base = f.type == Type::Bytes || type.fp ? "" : ", base.DEC";
        std::fprintf(out, "F[\"%s\"] = ProtoField.%s(\"%s\", \"%s\"%s)\n", abbrev.c_str(), type.proto, abbrev.c_str(),
                     f.name, base);
        fields += "{ pf = F[\"" + abbrev + "\"], off = " + std::to_string(f.offset) +
                  ", size = " + std::to_string(cw::trace::type_size(f.type)) + ", count = " + std::to_string(f.count) +
                  (f.type == Type::Bytes ? ", bytes = true" : "") + " }, ";
    }
    std::fprintf(out, "%s{ dir = %u, set = %u, id = %u, rx = %u, len = %u, name = \"%s\", fields = { %s} }%s\n", before,
                 static_cast<unsigned>(m.dir), m.set, m.id, m.receiver, m.len, m.name, fields.c_str(), after);
    return true;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: link_dissector_gen output.lua\n");
        return 2;
    }
    FILE *out = std::fopen(argv[1], "w");
    if (out == nullptr) {
        std::perror(argv[1]);
        return 2;
    }
    std::fputs(kHead, out);
    std::fprintf(out, "local ANY = %u\nlocal rows = {}\n", cw::trace::kAnyReceiver);
    std::set<std::string> names;
    bool ok = true;
    for (const cw::trace::Message &m : cw::trace::kMessages) {
        ok = emit_row(out, m, "table.insert(rows, ", ")", names) && ok;
    }
    ok = emit_row(out, cw::trace::kResultOnly, "local result_only = ", "", names) && ok;
    std::fputs("local fields = {}\nfor _, f in pairs(F) do table.insert(fields, f) end\n", out);
    std::fputs(kTail, out);
    return std::fclose(out) == 0 && ok ? 0 : 1;
}
