// Wi-Fi module commands on the v1 link: channel setting, ping and version of the radio, and
// switching Wi-Fi on and off. Each judges its answer its own way.
#include <array>
#include <cstdint>
#include <cstring>

#include "cirrow/cw_wifi.h"
#include "cw_bytes.h"
#include "cw_command.h"
#include "cw_log.h"

namespace {

constexpr auto kSetChannel = cw::command<"wifi.set_channel">(cw::policy::send_only);
// The ping's result is the radio's reply byte, where its row puts the result, whatever it is; the
// version's answer is text of the row's length.
constexpr auto kPing = cw::command<"wifi.ping">(cw::policy::peer_result);
constexpr auto kVersion = cw::command<"wifi.version">(cw::policy::send_only);
constexpr auto kOpenWifi = cw::command<"wifi.open">(cw::policy::peer_result);
constexpr auto kCloseWifi = cw::command<"wifi.close">(cw::policy::logged_only);

}  // namespace

extern "C" int32_t cw_v1_wifi_api_set_channel(uint16_t channel) {
    CW_LOG_AT(27, cw::log::kInfo, "cw wifi set channel %d\n", channel);
    return cw::perform(kSetChannel, kSetChannel.encode(uint8_t{0}, channel),
                       // The channel follows a zero byte. The answer is awaited, not examined: the
                       // link's result is the command's, and whatever the module answers, a request
                       // that went is a success.
                       CW_IF_FAILED(CW_LOG_AT(32, cw::log::kFail, "cw wifi set channel fail result=%d\n", v.ret)),
                       CW_IF_DONE(CW_LOG_AT(34, cw::log::kInfo, "cw wifi set channel success\n")));
}

// The radio's reply byte is the ping's result; only a failed send is logged as a failure, and an
// answer, whatever its reply byte, as a success.
extern "C" int32_t cw_v1_wifi_api_ping(uint8_t ping_byte) {
    return cw::perform(
        kPing, kPing.encode(ping_byte),
        // Not sent: the log has what the answer holds where the reply byte goes.
        CW_IF_UNSENT(CW_USRLOG_AT(43, "cw wifi ping sdr send v1 fail result = %d %d\r\n", v.ret, ans[kPing.kResultAt])),
        // Sent: answered, whatever the reply byte.
        CW_IF_SENT(CW_USRLOG_AT(45, "cw wifi ping sdr success\n")));
}

// The version's answer is text of the row's length that need not be terminated.

extern "C" int32_t cw_v1_wifi_api_version(void) {
    CW_USRLOG_AT(51, "cw wifi get version\n");
    return cw::perform(kVersion, {},
                       // The link's result is the command's; the answer is the version's text, of the
                       // row's length.
                       CW_IF_FAILED(CW_USRLOG_AT(55, "cw wifi get version send v1 fail result = %d\r\n", v.ret)),
                       // The text need not be terminated: log at most the answer's 30 bytes.
                       CW_IF_DONE({
                           std::array<char, kVersion.kAnswerLen + 1> text{};
                           std::memcpy(text.data(), ans.data(), kVersion.kAnswerLen);
                           CW_USRLOG_AT(60, "cw wifi get version success %s\n", text.data());
                       }));
}

// Switching Wi-Fi on: a refusal is passed back as the module's own byte.
extern "C" int32_t cw_v1_wifi_api_open_wifi(void) {
    CW_LOG_AT(66, cw::log::kInfo, "cw wifi open wifi\n");
    return cw::perform(
        kOpenWifi, kOpenWifi.encode(uint8_t{0}), CW_IF_DONE(CW_USRLOG_AT(70, "cw wifi open wifi success\n")),
        CW_IF_FAILED(CW_USRLOG_AT(73, "cw wifi open wifi fail result = %d ack:%d\r\n", v.ret, v.result_byte)));
}

// Switching Wi-Fi off: a refusal is only logged, the result is the send result (the module's
// byte is in the log).
extern "C" int32_t cw_v1_wifi_api_close_wifi(void) {
    CW_LOG_AT(79, cw::log::kInfo, "cw wifi close wifi\n");
    return cw::perform(
        kCloseWifi, kCloseWifi.encode(uint8_t{0}), CW_IF_DONE(CW_USRLOG_AT(83, "cw wifi close wifi success\n")),
        CW_IF_FAILED(CW_USRLOG_AT(86, "cw wifi close wifi fail result=%d ack:%d\n", v.ret, v.result_byte)));
}
