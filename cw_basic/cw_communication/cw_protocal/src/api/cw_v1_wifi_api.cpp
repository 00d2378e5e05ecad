// Wi-Fi module commands on the v1 link: channel setting, ping and version of the radio, and
// switching Wi-Fi on and off. Each judges its answer its own way.
#include <array>
#include <cstdint>
#include <cstring>

#include "cirrow/cw_wifi.h"
#include "cw_bytes.h"
#include "cw_log.h"
#include "cw_txn.h"

namespace {

constexpr auto kSetChannel = cw::command<"wifi.set_channel">(cw::policy::send_only);
// The ping's answer carries the radio's reply byte where its row puts the result; the version's
// answer is text of the row's length.

// The ping's result is the radio's reply byte, whatever it is.
constexpr auto kPing = cw::command<"wifi.ping">(cw::policy::peer_result);
constexpr auto kVersion = cw::command<"wifi.version">(cw::policy::send_only);
constexpr auto kOpenWifi = cw::command<"wifi.open">(cw::policy::peer_result);
constexpr auto kCloseWifi = cw::command<"wifi.close">(cw::policy::logged_only);

}  // namespace

extern "C" int32_t cw_v1_wifi_api_set_channel(uint16_t channel) {
    CW_LOG(cw::log::kInfo, "cw wifi set channel %d\n", channel);
    const auto payload = kSetChannel.encode(uint8_t{0}, channel);
    auto ans = kSetChannel.answer_buffer();  // not examined
    const cw::Verdict v = cw::run(kSetChannel, payload, ans.span());
    if (v.outcome != cw::Outcome::Done) {
        CW_LOG(cw::log::kFail, "cw wifi set channel fail result=%d\n", v.ret);
    } else {
        CW_LOG(cw::log::kInfo, "cw wifi set channel success\n");
    }
    return v.code;
}

extern "C" int32_t cw_v1_wifi_api_ping(uint8_t ping_byte) {
    auto ans = kPing.answer_buffer();
    const cw::Verdict v = cw::run(kPing, kPing.encode(ping_byte), ans.span());
    if (v.outcome == cw::Outcome::SendFailed) {
        CW_USRLOG("cw wifi ping sdr send v1 fail result = %d %d\r\n", v.ret, ans[kPing.kResultAt]);
    } else {
        CW_USRLOG("cw wifi ping sdr success\n");
    }
    return v.code;
}

extern "C" int32_t cw_v1_wifi_api_version(void) {
    CW_USRLOG("cw wifi get version\n");
    auto ans = kVersion.answer_buffer();
    const cw::Verdict v = cw::run(kVersion, {}, ans.span());
    if (v.outcome != cw::Outcome::Done) {
        CW_USRLOG("cw wifi get version send v1 fail result = %d\r\n", v.ret);
    } else {
        // The answer is text that need not be terminated: log at most its 30 bytes.
        std::array<char, kVersion.kAnswerLen + 1> text{};
        std::memcpy(text.data(), ans.data(), kVersion.kAnswerLen);
        CW_USRLOG("cw wifi get version success %s\n", text.data());
    }
    return v.code;
}

extern "C" int32_t cw_v1_wifi_api_open_wifi(void) {
    CW_LOG(cw::log::kInfo, "cw wifi open wifi\n");
    auto ans = kOpenWifi.answer_buffer();
    const cw::Verdict v = cw::run(kOpenWifi, kOpenWifi.encode(uint8_t{0}), ans.span());
    if (v.outcome == cw::Outcome::Done) {
        CW_USRLOG("cw wifi open wifi success\n");
    } else {
        // A refusal is passed back as the module's own byte.
        CW_USRLOG("cw wifi open wifi fail result = %d ack:%d\r\n", v.ret, v.result_byte);
    }
    return v.code;
}

extern "C" int32_t cw_v1_wifi_api_close_wifi(void) {
    CW_LOG(cw::log::kInfo, "cw wifi close wifi\n");
    auto ans = kCloseWifi.answer_buffer();
    const cw::Verdict v = cw::run(kCloseWifi, kCloseWifi.encode(uint8_t{0}), ans.span());
    if (v.outcome == cw::Outcome::Done) {
        CW_USRLOG("cw wifi close wifi success\n");
    } else {
        // A refusal is only logged: the result is the send result.
        CW_USRLOG("cw wifi close wifi fail result=%d ack:%d\n", v.ret, v.result_byte);
    }
    return v.code;
}
