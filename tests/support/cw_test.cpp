#include "cw_test.h"

#include <algorithm>
#include <cstdlib>

namespace cwt {

std::vector<Sent> sent() {
    std::vector<Sent> out;
    for (mbus_ctl_request_t r; mbus_ctl_request_get(uint32_t(out.size()), &r) == 0;) {
        const uint32_t len = std::min(r.payload_len, MBUS_LINK_MAX_PAYLOAD);
        out.push_back({r.cmd_set, r.cmd_id, r.receiver, r.timeout, r.resp_len, r.payload_null != 0, r.resp_null != 0,
                       Payload(r.payload, r.payload + len)});
    }
    return out;
}

std::vector<Line> leveled() {
    std::vector<Line> out;
    for (mbus_ctl_log_t l; mbus_ctl_log_get(uint32_t(out.size()), &l) == 0;) {
        out.push_back({l.level, l.file, l.func, l.line, l.text});
    }
    return out;
}

std::vector<UsrLine> usrlog() {
    std::vector<UsrLine> out;
    mbus_ctl_dump_t d;
    for (uint32_t i = 0; mbus_ctl_dump_get(i, &d) == 0; ++i) {
        if (std::strcmp(d.channel, "usrlog") != 0) {
            continue;
        }
        UsrLine u;
        u.raw.assign(d.data, std::min<size_t>(d.len, sizeof d.data - 1));
        const size_t open = u.raw.find("USRLOG["), colon = u.raw.find(" :", open), close = u.raw.find("]:: ", colon);
        if (close != std::string::npos) {
            u.func = u.raw.substr(open + 7, colon - open - 7);
            u.func.erase(u.func.find_last_not_of(' ') + 1);
            u.line = std::atoi(u.raw.c_str() + colon + 2);
            u.text = u.raw.substr(close + 4);
        }
        out.push_back(u);
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

// Strings here are built by appending: g++ 12 at -O3 warns (-Wrestrict, a false positive inside
// libstdc++) on "literal" + a temporary std::string.
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
        out.append(r.registered ? "+" : "-").append(std::to_string(r.cmd_set)).append("/");
        out.append(std::to_string(r.cmd_id)).append(" ");
        for (const auto &first : regs) {
            const bool same = first.registered && first.cmd_set == r.cmd_set && first.cmd_id == r.cmd_id;
            EXPECT_TRUE(r.registered || !same || first.cb == r.cb) << out;
        }
    }
    return out;
}

void answer(const Payload &bytes) { mbus_ctl_script_answer(bytes.data(), static_cast<uint32_t>(bytes.size())); }
void fail_next(int32_t result) { mbus_ctl_script_result(result); }
int32_t push(uint8_t cmd_set, uint8_t cmd_id, const Payload &payload) {
    return mbus_ctl_push(cmd_set, cmd_id, payload.data(), static_cast<uint32_t>(payload.size()));
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

Payload cat(std::initializer_list<Payload> parts) {
    Payload out;
    for (const Payload &p : parts) {
        out.insert(out.end(), p.begin(), p.end());
    }
    return out;
}

std::string printed(const std::function<void()> &calls) {
    testing::internal::CaptureStdout();
    calls();
    return testing::internal::GetCapturedStdout();
}

void LinkTest::SetUp() {
    mbus_ctl_reset();
    mbus_ctl_set_echo(std::getenv("CW_TEST_ECHO") != nullptr ? 1 : 0);  // scripts/log_lines.sh sets it
    mbus_ctl_set_boot_time(123456789);
}

void LinkTest::TearDown() { mbus_ctl_reset(); }

}  // namespace cwt
