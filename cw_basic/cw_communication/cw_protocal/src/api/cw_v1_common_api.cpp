// Common queries on the v1 link: the firmware version of any device and the aircraft's serial
// number. A failed send and a refusal are both reported as CW_ERR_ACK.
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "cirrow/cw_device.h"
#include "cw_args.h"
#include "cw_bytes.h"
#include "cw_command.h"
#include "cw_log.h"

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
    return cw::perform(kGetVersion.to(receiver), {},  // every device answers it, on its own receiver
                       CW_IF_FAILED(                  // a failed send and a refusal are told alike
                           {
                               CW_USRLOG_AT(32, "[cirrow] get dev 0x%x version fail ret: %d ack: %d \n", receiver,
                                            v.ret, v.result_byte);
                           }),
                       // The text "a.b.c.d", most significant byte first.
                       CW_IF_DONE({
                           std::memset(version, 0, CW_VERSION_TEXT_LEN);
                           std::snprintf(version, CW_VERSION_TEXT_LEN, "%d.%d.%d.%d", ans[kVersionAt + 3],
                                         ans[kVersionAt + 2], ans[kVersionAt + 1], ans[kVersionAt]);
                       }));
}

extern "C" int32_t cw_v1_common_api_get_SN(uint8_t sn_selector, char *sn) {
    CW_REQUIRE(sn);
    // The selector says which serial number; the answer holds it as text of its field's length,
    // which is terminated.
    return cw::perform(kGetSn, kGetSn.encode(sn_selector),
                       CW_IF_FAILED(CW_USRLOG_AT(47, "[cirrow] get SN fail ret: %d ack: %d \n", v.ret, v.result_byte)),
                       CW_IF_DONE({
                           std::memset(sn, 0, CW_SN_TEXT_LEN);
                           std::memcpy(sn, ans.data() + kSnAt, kSnLen);
                           sn[kSnLen] = '\0';
                       }));
}
