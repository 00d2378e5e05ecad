// Vision processor mission commands: result subscriptions, panorama, quick shot, lapse photo and
// qs160. Each sends one request and returns once it has left: the vision processor reports
// progress later in its pushed messages.
#include <array>
#include <cstdint>
#include <cstring>

#include "cirrow/cw_vision.h"
#include "cw_args.h"
#include "cw_bytes.h"
#include "cw_command.h"
#include "cw_log.h"

namespace {

constexpr auto kSubscribeOaResult = cw::command<"vision.subscribe_oa_result">(cw::policy::send_only);
constexpr auto kSubscribeRicResult = cw::command<"vision.subscribe_ric_result">(cw::policy::send_only);
constexpr auto kSwitchToPano = cw::command<"vision.switch_to_pano">(cw::policy::send_only);
constexpr auto kPanoControl = cw::command<"vision.pano_control">(cw::policy::send_only);
constexpr auto kQuickshotBox = cw::command<"vision.qs_set_box">(cw::policy::send_only);
constexpr auto kQuickshotEnable = cw::command<"vision.qs_enable">(cw::policy::send_only);
constexpr auto kQuickshotParam = cw::command<"vision.qs_set_param">(cw::policy::send_only);
constexpr auto kQuickshotIndex = cw::command<"vision.qs_set_index">(cw::policy::send_only);
constexpr auto kLapseSubmode =
    cw::command<"vision.lapse_submode">(cw::policy::send_only);  // same id as the subscription
constexpr auto kLapsePoint = cw::command<"vision.lapse_point">(cw::policy::send_only);
constexpr auto kLapseGo = cw::command<"vision.lapse_go">(cw::policy::send_only);
constexpr auto kLapseRecover = cw::command<"vision.lapse_recover">(cw::policy::send_only);
constexpr auto kQs160Mode = cw::command<"vision.qs160_mode">(cw::policy::send_only);
constexpr auto kQs160Index = cw::command<"vision.qs160_index">(cw::policy::send_only);  // also the qs160 go request
constexpr auto kPanoImageBuf = cw::command<"vision.pano_image_buf">(cw::policy::send_only);

// The panorama image buffer: a header (two values and the records' count), then the caller's
// records.
constexpr size_t kPanoImageRecordsAt = kPanoImageBuf.at<"records">();

}  // namespace

extern "C" int32_t cw_v1_vision_api_subscribe_oa_result(uint8_t value) {
    return cw::post(kSubscribeOaResult, kSubscribeOaResult.encode(value),
                    // The value says whether the obstacle-avoidance results are pushed.
                    CW_IF_FAILED(CW_LOG_AT(43, cw::log::kFail, "subscribe oa result fail %d\n", v.ret)));
}

// The same for the ric results (its failure is logged as the oa subscription's).

extern "C" int32_t cw_v1_vision_api_subscribe_ric_result(uint8_t value) {
    return cw::post(kSubscribeRicResult, kSubscribeRicResult.encode(value),
                    // The value says whether the ric results are pushed.
                    CW_IF_FAILED(CW_LOG_AT(52, cw::log::kFail, "subscribe oa result fail %d\n", v.ret)));
}

// ---- Panorama ----

// Switches the vision processor to the panorama mode, or out of it: the two values go as they
// are.
extern "C" int32_t cw_v1_vision_switch_to_pano(uint8_t value0, uint8_t value1) {
    return cw::post(kSwitchToPano, kSwitchToPano.encode(value0, value1),
                    // A failure is on both channels.
                    CW_IF_FAILED(CW_LOG_AT(63, cw::log::kFail, "[CW_pano] switch to pano fail: %d\n", v.ret);
                                 CW_USRLOG_AT(64, "[CW_pano] switch to pano fail: %d\n", v.ret)),
                    // Unlike the other commands, the switch reports its success at level 1.
                    CW_IF_DONE(CW_LOG_AT(67, cw::log::kFail, "[CW_pano] switch to pano success: %d\n", v.ret)));
}

// Starts or controls the panorama photo.

extern "C" int32_t cw_v1_vision_pano_control(uint8_t value) {
    return cw::post(kPanoControl, kPanoControl.encode(value),
                    // The value is the panorama's control byte.
                    CW_IF_FAILED(CW_LOG_AT(76, cw::log::kFail, "vision module start Pano Photo fail %d\n", v.ret);
                                 CW_USRLOG_AT(77, "vision module start Pano Photo fail1 %d\n", v.ret)),
                    CW_IF_DONE(CW_LOG_BOTH_AT(79, cw::log::kInfo, "vision module start Pano Photo success\n")));
}

// The panorama's image buffer: a header, then the caller's records, in a block of exactly their
// length.
extern "C" int32_t cw_v1_pano_image_buf(uint32_t value0, uint8_t value1, uint8_t count, const uint8_t *records) {
    CW_REQUIRE(records != nullptr || count == 0);
    const size_t records_len = size_t{CW_PANO_IMAGE_RECORD_LEN} * count;
    cw::HeapPayload payload(kPanoImageRecordsAt + records_len);
    if (!payload.ok()) {
        CW_LOG_BOTH_AT(89, cw::log::kFail, "send image buf failed %d\n", CW_ERR_NOMEM);
        return CW_ERR_NOMEM;
    }
    uint8_t *p = payload.data();
    kPanoImageBuf.put<"value0">(p, value0);
    kPanoImageBuf.put<"value1">(p, value1);
    kPanoImageBuf.put<"count">(p, count);
    if (records_len != 0) {
        std::memcpy(p + kPanoImageRecordsAt, records, records_len);
    }
    // The vision processor's answer is awaited but not examined; the payload is given back as
    // soon as the request has gone.
    return cw::perform(kPanoImageBuf, payload.view(), CW_ALWAYS(payload.release()),
                       CW_IF_FAILED(CW_LOG_BOTH_AT(103, cw::log::kFail, "send image buf failed %d\n", v.ret)),
                       CW_IF_DONE(CW_LOG_BOTH_AT(105, cw::log::kInfo, "send image buf success\n")));
}

// ---- Quick shot ----

extern "C" int32_t cw_v1_quickshot_set_nit_box(uint8_t value0, float box0, float box1, float box2, float box3,
                                               uint8_t value1, uint16_t value2) {
    // The value, the box's four fractions, then two values.
    return cw::post(
        kQuickshotBox, kQuickshotBox.encode(value0, box0, box1, box2, box3, value1, value2),
        CW_IF_FAILED(CW_LOG_BOTH_AT(118, cw::log::kFail, "vision module quick_shot fail Set Box %d\n", v.ret)),
        CW_IF_DONE(CW_LOG_BOTH_AT(120, cw::log::kInfo, "vision module quick_shot Set Box success\n")));
}

// Enables the quick shot (or the lapse photo, which shares the message).

extern "C" int32_t cw_v1_vision_quickshot_enable(uint8_t value0, uint8_t value1, uint8_t value2) {
    return cw::post(
        kQuickshotEnable, kQuickshotEnable.encode(value0, value1, value2),
        CW_IF_FAILED(CW_LOG_AT(129, cw::log::kFail, "vision module Enable quick_shot fail %d\n", v.ret);
                     CW_USRLOG_AT(130, "vision module Enable quick_shot fail1 or lapse_photo fail %d\n", v.ret)),
        CW_IF_DONE(CW_LOG_AT(132, cw::log::kInfo, "vision module Enable quick_shot success\n");
                   CW_USRLOG_AT(133, "vision module Enable quick_shot or lapse_photo success\n")));
}

extern "C" int32_t cw_v1_quickshot_set_param(uint8_t p0, uint8_t p1, uint8_t p2, uint8_t p3, uint8_t p4, uint8_t p5,
                                             uint8_t p6, uint8_t p7, uint8_t p8, float value, uint8_t p9, uint8_t p10,
                                             uint8_t p11) {
    // Nine bytes, the value, three bytes: the quick shot's parameters as its row lays them
    // out.
    return cw::post(kQuickshotParam, kQuickshotParam.encode(p0, p1, p2, p3, p4, p5, p6, p7, p8, value, p9, p10, p11),
                    CW_IF_FAILED(CW_LOG_AT(146, cw::log::kFail, "vision module quick_shot set_parm fail %d\n", v.ret);
                                 CW_USRLOG_AT(147, "vision module quick_shot fail set_parm1 %d\n", v.ret)),
                    CW_IF_DONE(CW_LOG_BOTH_AT(149, cw::log::kInfo, "vision module quick_shot set_parm success\n")));
}

// The quick shot's index.

extern "C" int32_t cw_v1_quickshot_set_index(uint8_t value0, uint8_t value1, uint8_t value2) {
    return cw::post(kQuickshotIndex, kQuickshotIndex.encode(value0, value1, value2),
                    CW_IF_FAILED(CW_LOG_AT(158, cw::log::kFail, "vision module quick_shot set_index fail %d\n", v.ret);
                                 CW_USRLOG_AT(159, "vision module quick_shot fail set_index1 %d\n", v.ret)),
                    CW_IF_DONE(CW_LOG_BOTH_AT(161, cw::log::kInfo, "vision module quick_shot set_index success\n")));
}

// ---- Lapse photo ----

extern "C" int32_t cw_v1_lapse_photo_submode(uint8_t value) {
    return cw::post(kLapseSubmode, kLapseSubmode.encode(value),
                    CW_IF_FAILED(CW_LOG_AT(172, cw::log::kFail, "vision module lapse_photo submode fail %d\n", v.ret);
                                 CW_USRLOG_AT(173, "vision module lapse_photo fail submode %d\n", v.ret)),
                    CW_IF_DONE(CW_LOG_AT(175, cw::log::kInfo, "vision module lapse_photo set_index success\n");
                               CW_USRLOG_AT(176, "vision module lapse_photo submode success\n")));
}

// A point of the lapse photo's path.

extern "C" int32_t cw_v1_lapse_photo_point(int32_t point0, int32_t point1, uint8_t value) {
    return cw::post(kLapsePoint, kLapsePoint.encode(point0, point1, value),
                    // The point's two coordinates, then the value.
                    CW_IF_FAILED(CW_LOG_AT(185, cw::log::kFail, "vision module lapse_photo set point fail %d\n", v.ret);
                                 CW_USRLOG_AT(186, "vision module lapse_photo fail set point %d\n", v.ret)),
                    CW_IF_DONE(CW_LOG_BOTH_AT(188, cw::log::kInfo, "vision module lapse_photo set point success\n")));
}

extern "C" int32_t cw_v1_lapse_photo_go(uint8_t value0, uint16_t value1, uint16_t value2, uint64_t value3,
                                        uint8_t value4, uint8_t value5) {
    // The values as the lapse photo's row lays them out.
    return cw::post(
        kLapseGo, kLapseGo.encode(value0, value1, value2, value3, value4, value5),
        CW_IF_FAILED(CW_LOG_BOTH_AT(199, cw::log::kFail, "vision module lapse_photo fail start %d\n", v.ret)),
        CW_IF_DONE(CW_LOG_BOTH_AT(201, cw::log::kInfo, "vision module lapse_photo start success\n")));
}

// Recovers an interrupted lapse photo.

extern "C" int32_t cw_v1_lapse_photo_recover(uint8_t value0, uint8_t value1) {
    return cw::post(kLapseRecover, kLapseRecover.encode(value0, value1),
                    CW_IF_FAILED(CW_USRLOG_AT(210, "vision module lapse_photo fail recover %d\n", v.ret)),
                    CW_IF_DONE(CW_USRLOG_AT(212, "vision module lapse_photo recover success\n")));
}

// ---- qs160 ----

extern "C" int32_t cw_v1_qs160_mode(uint8_t value0, float value1, uint8_t value2) {
    return cw::post(kQs160Mode, kQs160Mode.encode(value0, value1, value2),
                    // The mode, its value and a byte.
                    CW_IF_FAILED(CW_LOG_BOTH_AT(223, cw::log::kFail, "vision module qs160 fail %d\n", v.ret)),
                    CW_IF_DONE(CW_LOG_AT(225, cw::log::kInfo, "vision module qs160  success\n");
                               CW_USRLOG_AT(226, "vision module qs160 success\n")));
}

// The qs160's index, and its go: the same message.

extern "C" int32_t cw_v1_qs160_index(uint8_t value) {
    return cw::post(kQs160Index, kQs160Index.encode(value),
                    CW_IF_FAILED(CW_LOG_BOTH_AT(235, cw::log::kFail, "vision module qs160 index fail %d\n", v.ret)),
                    CW_IF_DONE(CW_LOG_BOTH_AT(237, cw::log::kInfo, "vision module qs160 index success\n")));
}

extern "C" int32_t cw_v1_qs160_go(uint8_t value) {
    return cw::post(kQs160Index, kQs160Index.encode(value),
                    // The go is an index request.
                    CW_IF_FAILED(CW_LOG_BOTH_AT(246, cw::log::kFail, "vision module qs160 go fail %d\n", v.ret)),
                    CW_IF_DONE(CW_LOG_BOTH_AT(248, cw::log::kInfo, "vision module qs160 go success\n")));
}
