// A command declared: its handlers run on their outcomes only, in the order written, over the
// answer; their log lines name the function they are written in, at their own line; an
// unanswered command sends no answer buffer.
#include <string>

#include "cw_command.h"
#include "cw_test.h"

using namespace cwt;

namespace {

class Command : public LinkTest {};

constexpr auto kQuery = cw::command<"gimbal.query_joint_angle">(cw::policy::ack_byte);
constexpr auto kRate = cw::command<"gimbal.rate_control">(cw::policy::send_only);
constexpr decltype(kQuery)::Request kQueryBytes = {0x11, 0x01, 0x01};

std::string g_seen;
int g_unsent_line = 0;
int g_done_line = 0;

int32_t declared_query() {
    g_seen.clear();
    return cw::perform(kQuery, kQueryBytes, CW_IF_UNSENT({
                           g_seen += "unsent ";
                           g_unsent_line = __LINE__ + 1;
                           CW_LOG(cw::log::kFail, "not sent %d\n", v.ret);
                       }),
                       CW_IF_REFUSED(g_seen += "refused "), CW_IF_FAILED(g_seen += "failed "),
                       CW_IF_SENT(g_seen += "sent "), CW_IF_DONE({
                           g_seen += "done ";
                           g_done_line = __LINE__ + 1;
                           CW_USRLOG("first %d\n", kQuery.get<"first">(ans));
                       }),
                       CW_ALWAYS(g_seen += "always"));
}

int32_t declared_rate() {
    g_seen.clear();
    return cw::post(kRate, kRate.encode(int16_t{1}, int16_t{2}, int16_t{3}, uint8_t{0}), CW_IF_DONE(g_seen += "posted"),
                    CW_IF_FAILED(g_seen += "failed"));
}

Payload query_answer(uint8_t result, uint8_t first) {
    Payload a(kQuery.kAnswerLen, 0);
    a[0] = result;
    a[kQuery.answer_at<"first">()] = first;
    return a;
}

}  // namespace

TEST_F(Command, EachOutcomeRunsItsHandlersInOrderAndReturnsThePolicysResult) {
    const Payload done = query_answer(0, 7);
    mbus_ctl_script_answer(done.data(), static_cast<uint32_t>(done.size()));
    EXPECT_EQ(declared_query(), 0);
    EXPECT_EQ(g_seen, "sent done always");

    const Payload refused = query_answer(1, 7);
    mbus_ctl_script_answer(refused.data(), static_cast<uint32_t>(refused.size()));
    EXPECT_EQ(declared_query(), CW_ERR_ACK);
    EXPECT_EQ(g_seen, "refused failed sent always");

    mbus_ctl_script_result(MBUS_ERR_TIMEOUT);
    EXPECT_EQ(declared_query(), MBUS_ERR_TIMEOUT);
    EXPECT_EQ(g_seen, "unsent failed always");
}

TEST_F(Command, HandlersLogAsTheFunctionTheyAreWrittenInAtTheirOwnLine) {
    const Payload done = query_answer(0, 7);
    mbus_ctl_script_answer(done.data(), static_cast<uint32_t>(done.size()));
    declared_query();
    mbus_ctl_script_result(MBUS_ERR_TIMEOUT);
    declared_query();
    const auto u = usrlog();
    ASSERT_EQ(u.size(), 1u);
    EXPECT_EQ(std::make_tuple(u[0].func, u[0].line, u[0].text),
              std::make_tuple(std::string("declared_query"), g_done_line, std::string("first 7\n")));
    const auto l = leveled();
    ASSERT_EQ(l.size(), 1u);
    EXPECT_EQ(std::make_tuple(l[0].func, l[0].line, l[0].text),
              std::make_tuple(std::string("declared_query"), uint32_t(g_unsent_line),
                              std::string("not sent ") + std::to_string(MBUS_ERR_TIMEOUT) + "\n"));
}

TEST_F(Command, AnUnansweredCommandAwaitsNothing) {
    mbus_ctl_script_result(0);
    EXPECT_EQ(declared_rate(), 0);
    EXPECT_EQ(g_seen, "posted");
    const auto s = sent();
    ASSERT_EQ(s.size(), 1u);
    EXPECT_EQ(std::make_tuple(s[0].resp_null, s[0].resp_len, s[0].timeout), std::make_tuple(true, 0u, 0u));
}
