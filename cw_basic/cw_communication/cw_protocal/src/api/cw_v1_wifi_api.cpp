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

constexpr cw::Command kSetChannel = cw::command("wifi.set_channel", cw::policy::send_only);
constexpr cw::Route kPing = cw::route("wifi.ping");
constexpr cw::Route kVersion = cw::route("wifi.version");
constexpr cw::Route kOpenWifi = cw::route("wifi.open");
constexpr cw::Route kCloseWifi = cw::route("wifi.close");

constexpr size_t kVersionAnswerLen = 30;
constexpr size_t kPingReplyAt = 1;

}  // namespace

extern "C" int32_t cw_v1_wifi_api_set_channel(uint16_t channel) {
    CW_LOG(cw::log::kInfo, "cw wifi set channel %d\n", channel);
    const auto payload = cw::le::pack<uint8_t, uint16_t>(0, channel);
    cw::Answer<1> ans;  // not examined
    const cw::Verdict v = cw::run(kSetChannel, payload, ans.span());
    if (v.outcome != cw::Outcome::Done) {
        CW_LOG(cw::log::kFail, "cw wifi set channel fail result=%d\n", v.ret);
    } else {
        CW_LOG(cw::log::kInfo, "cw wifi set channel success\n");
    }
    return v.code;
}

extern "C" int32_t cw_v1_wifi_api_ping(uint8_t ping_byte) {
    const auto payload = cw::le::pack<uint8_t>(ping_byte);
    cw::Answer<2> ans;
    const int32_t rc = cw::send(kPing, payload, ans.span());
    if (rc != 0) {
        CW_USRLOG("cw wifi ping sdr send v1 fail result = %d %d\r\n", rc, ans[kPingReplyAt]);
        return rc;
    }
    CW_USRLOG("cw wifi ping sdr success\n");
    return ans[kPingReplyAt];
}

extern "C" int32_t cw_v1_wifi_api_version(void) {
    CW_USRLOG("cw wifi get version\n");
    cw::Answer<kVersionAnswerLen> ans;
    const int32_t rc = cw::send(kVersion, {}, ans.span());
    if (rc != 0) {
        CW_USRLOG("cw wifi get version send v1 fail result = %d\r\n", rc);
        return rc;
    }
    // The answer is text that need not be terminated: log at most its 30 bytes.
    std::array<char, kVersionAnswerLen + 1> text{};
    std::memcpy(text.data(), ans.data(), kVersionAnswerLen);
    CW_USRLOG("cw wifi get version success %s\n", text.data());
    return 0;
}

extern "C" int32_t cw_v1_wifi_api_open_wifi(void) {
    CW_LOG(cw::log::kInfo, "cw wifi open wifi\n");
    const auto payload = cw::le::pack<uint8_t>(0);
    cw::Answer<1> ans;
    const cw::Exchange r = cw::exchange(kOpenWifi, payload, ans);
    if (r.ok()) {
        CW_USRLOG("cw wifi open wifi success\n");
        return 0;
    }
    CW_USRLOG("cw wifi open wifi fail result = %d ack:%d\r\n", r.ret, r.result_byte);
    // A refusal is passed back as the module's own byte.
    return r.result_byte != 0 ? r.result_byte : r.ret;
}

extern "C" int32_t cw_v1_wifi_api_close_wifi(void) {
    CW_LOG(cw::log::kInfo, "cw wifi close wifi\n");
    const auto payload = cw::le::pack<uint8_t>(0);
    cw::Answer<1> ans;
    const cw::Exchange r = cw::exchange(kCloseWifi, payload, ans);
    if (r.ok()) {
        CW_USRLOG("cw wifi close wifi success\n");
        return 0;
    }
    // A refusal is only logged: the result is the send result.
    CW_USRLOG("cw wifi close wifi fail result=%d ack:%d\n", r.ret, r.result_byte);
    return r.ret;
}
