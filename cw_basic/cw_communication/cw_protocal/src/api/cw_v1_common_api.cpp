// Common queries on the v1 link: the firmware version of any device and the aircraft's serial
// number. A failed send and a refusal are both reported as CW_ERR_ACK.
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "cirrow/cw_device.h"
#include "cw_args.h"
#include "cw_bytes.h"
#include "cw_log.h"
#include "cw_txn.h"

namespace {

constexpr auto kGetVersion = cw::command<"common.get_version">(cw::policy::any_failure_refused);
constexpr auto kGetSn = cw::command<"common.get_sn">(cw::policy::any_failure_refused);

// The version is four bytes, least significant first; the serial number a text of its field's
// length.
constexpr size_t kVersionAt = kGetVersion.answer_at<"version">();
constexpr size_t kSnAt = kGetSn.answer_at<"sn">();
constexpr size_t kSnLen = cw::link::field_named(kGetSn.answer(), "sn").count;

}  // namespace

extern "C" int32_t cw_v1_common_api_get_version(uint16_t receiver, char *version) {
    CW_REQUIRE(version);
    auto ans = kGetVersion.answer_buffer();
    const cw::Verdict v = cw::run(kGetVersion.to(receiver), {}, ans.span());
    if (v.outcome != cw::Outcome::Done) {
        CW_USRLOG("[cirrow] get dev 0x%x version fail ret: %d ack: %d \n", receiver, v.ret, v.result_byte);
    } else {
        std::memset(version, 0, CW_VERSION_TEXT_LEN);
        std::snprintf(version, CW_VERSION_TEXT_LEN, "%d.%d.%d.%d", ans[kVersionAt + 3], ans[kVersionAt + 2],
                      ans[kVersionAt + 1], ans[kVersionAt]);
    }
    return v.code;
}

extern "C" int32_t cw_v1_common_api_get_SN(uint8_t sn_selector, char *sn) {
    CW_REQUIRE(sn);
    const auto payload = kGetSn.encode(sn_selector);
    auto ans = kGetSn.answer_buffer();
    const cw::Verdict v = cw::run(kGetSn, payload, ans.span());
    if (v.outcome != cw::Outcome::Done) {
        CW_USRLOG("[cirrow] get SN fail ret: %d ack: %d \n", v.ret, v.result_byte);
    } else {
        std::memset(sn, 0, CW_SN_TEXT_LEN);
        std::memcpy(sn, ans.data() + kSnAt, kSnLen);
        sn[kSnLen] = '\0';
    }
    return v.code;
}
