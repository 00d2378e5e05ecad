#include "cw_test.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace cwt {

std::vector<Sent> sent() {
    std::vector<Sent> out;
    const uint32_t n = mbus_ctl_request_count();
    for (uint32_t i = 0; i < n; ++i) {
        mbus_ctl_request_t r;
        if (mbus_ctl_request_get(i, &r) != 0) {
            break;
        }
        const uint32_t len = r.payload_len < MBUS_LINK_MAX_PAYLOAD ? r.payload_len : MBUS_LINK_MAX_PAYLOAD;
        out.push_back({r.cmd_set, r.cmd_id, r.receiver, r.timeout, r.resp_len, r.payload_null != 0, r.resp_null != 0,
                       Bytes(r.payload, r.payload + len)});
    }
    return out;
}

std::vector<Line> leveled() {
    std::vector<Line> out;
    const uint32_t n = mbus_ctl_log_count();
    for (uint32_t i = 0; i < n; ++i) {
        mbus_ctl_log_t l;
        if (mbus_ctl_log_get(i, &l) != 0) {
            break;
        }
        out.push_back({l.level, l.file, l.func, l.line, l.text});
    }
    return out;
}

std::vector<UsrLine> usrlog() {
    std::vector<UsrLine> out;
    const uint32_t n = mbus_ctl_dump_count();
    for (uint32_t i = 0; i < n; ++i) {
        mbus_ctl_dump_t d;
        if (mbus_ctl_dump_get(i, &d) != 0) {
            break;
        }
        if (std::strcmp(d.channel, "usrlog") != 0) {
            continue;
        }
        UsrLine u;
        u.raw.assign(d.data, d.len < sizeof d.data ? d.len : sizeof d.data - 1);
        const size_t open = u.raw.find("USRLOG[");
        const size_t colon = u.raw.find(" :", open);
        const size_t close = u.raw.find("]:: ", colon);
        if (open != std::string::npos && colon != std::string::npos && close != std::string::npos) {
            u.func = u.raw.substr(open + 7, colon - open - 7);
            while (!u.func.empty() && u.func.back() == ' ') {
                u.func.pop_back();
            }
            u.line = std::atoi(u.raw.c_str() + colon + 2);
            u.text = u.raw.substr(close + 4);
        }
        out.push_back(u);
    }
    return out;
}

std::vector<std::string> leveled_texts() {
    std::vector<std::string> out;
    for (const Line &l : leveled()) {
        out.push_back(l.text);
    }
    return out;
}

std::vector<std::string> usrlog_texts() {
    std::vector<std::string> out;
    for (const UsrLine &u : usrlog()) {
        out.push_back(u.text);
    }
    return out;
}

Texts lines(const std::string &func, const std::string &file) {
    Texts out;
    for (const Line &l : leveled()) {
        EXPECT_TRUE(func.empty() || l.func == func) << l.func << ": " << l.text;
        EXPECT_TRUE(file.empty() || l.file == "../cw_basic/cw_communication/" + file) << l.file;
        out.push_back(both(int(l.level), l.text)[0]);
    }
    for (const UsrLine &u : usrlog()) {
        EXPECT_TRUE(func.empty() || u.func == func) << u.func << ": " << u.text;
        out.push_back(both(0, u.text)[1]);
    }
    return out;
}

// Built by appending: g++ 12 at -O3 warns (-Wrestrict) inside libstdc++ on "literal" + std::string.
Texts both(int level, const std::string &text) {
    return {std::string("L").append(std::to_string(level)).append(" ").append(text), std::string("U ").append(text)};
}

Req request(size_t i) {
    const Sent s = sent().at(i);
    EXPECT_EQ(std::make_pair(s.payload_null, s.resp_null), std::make_pair(s.payload.empty(), s.resp_len == 0));
    return {s.cmd_set, s.cmd_id, s.receiver, s.timeout, s.resp_len, s.payload};
}

std::string registrations() {
    std::string out;
    std::vector<mbus_ctl_registration_t> regs;
    for (mbus_ctl_registration_t r; mbus_ctl_registration_get(uint32_t(regs.size()), &r) == 0; regs.push_back(r)) {
        out += (r.registered ? "+" : "-") + std::to_string(r.cmd_set) + "/" + std::to_string(r.cmd_id) + " ";
        for (const auto &first : regs) {
            const bool same = first.registered && first.cmd_set == r.cmd_set && first.cmd_id == r.cmd_id;
            EXPECT_TRUE(r.registered || !same || first.cb == r.cb) << out;
        }
    }
    return out;
}

void run(const std::vector<Row> &rows, int32_t fail, const std::string &file) {
    for (const Row &r : rows) {
        SCOPED_TRACE(r.call);
        mbus_ctl_reset();
        r.answer.empty() ? fail_next(fail) : answer(r.answer);
        EXPECT_EQ(r.fn(), r.rc);
        EXPECT_EQ(lines(r.call.substr(0, r.call.find('(')), file), r.lines);
        ASSERT_EQ(sent().size(), 1u);
        if (r.req) {
            EXPECT_EQ(request(), *r.req);
        }
    }
}

void answer(const Bytes &bytes) { mbus_ctl_script_answer(bytes.data(), static_cast<uint32_t>(bytes.size())); }

void fail_next(int32_t result) { mbus_ctl_script_result(result); }

int32_t push(uint8_t cmd_set, uint8_t cmd_id, const Bytes &payload) {
    return mbus_ctl_push(cmd_set, cmd_id, payload.data(), static_cast<uint32_t>(payload.size()));
}

namespace {
Bytes le_bytes(uint64_t v, int n) {
    Bytes out;
    for (int i = 0; i < n; ++i) {
        out.push_back(static_cast<uint8_t>(v >> (8 * i)));
    }
    return out;
}
}  // namespace

Bytes le16(uint16_t v) { return le_bytes(v, 2); }
Bytes le32(uint32_t v) { return le_bytes(v, 4); }
Bytes le64(uint64_t v) { return le_bytes(v, 8); }
Bytes lef32(float v) {
    uint32_t bits;
    std::memcpy(&bits, &v, 4);
    return le32(bits);
}

Bytes cat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes &p : parts) {
        out.insert(out.end(), p.begin(), p.end());
    }
    return out;
}

StdoutCapture::StdoutCapture() {
    std::fflush(stdout);
    char tmpl[] = "/tmp/cw_stdout_XXXXXX";
    file_ = mkstemp(tmpl);
    path_ = tmpl;
    saved_ = dup(STDOUT_FILENO);
    dup2(file_, STDOUT_FILENO);
}

StdoutCapture::~StdoutCapture() { text(); }

std::string StdoutCapture::text() {
    if (done_) {
        return text_;
    }
    done_ = true;
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
    lseek(file_, 0, SEEK_SET);
    char buf[4096];
    ssize_t n;
    while ((n = read(file_, buf, sizeof buf)) > 0) {
        text_.append(buf, static_cast<size_t>(n));
    }
    close(file_);
    unlink(path_.c_str());
    return text_;
}

void LinkTest::SetUp() {
    mbus_ctl_reset();
    mbus_ctl_set_echo(0);
    mbus_ctl_set_boot_time(123456789);
}

void LinkTest::TearDown() { mbus_ctl_reset(); }

}  // namespace cwt
