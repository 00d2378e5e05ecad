// Vision processor mission commands: result subscriptions, panorama, quick shot, lapse photo and
// qs160. Each sends one request and returns once it has left: the vision processor reports
// progress later in its pushed messages.
#include <array>
#include <cstdint>
#include <cstring>

#include "cirrow/cw_vision.h"
#include "cw_args.h"
#include "cw_bytes.h"
#include "cw_log.h"
#include "cw_txn.h"

namespace {

constexpr cw::Route kSubscribeOaResult = cw::route("vision.subscribe_oa_result");
constexpr cw::Route kSubscribeRicResult = cw::route("vision.subscribe_ric_result");
constexpr cw::Route kSwitchToPano = cw::route("vision.switch_to_pano");
constexpr cw::Route kPanoControl = cw::route("vision.pano_control");
constexpr cw::Route kQuickshotBox = cw::route("vision.qs_set_box");
constexpr cw::Route kQuickshotEnable = cw::route("vision.qs_enable");
constexpr cw::Route kQuickshotParam = cw::route("vision.qs_set_param");
constexpr cw::Route kQuickshotIndex = cw::route("vision.qs_set_index");
constexpr cw::Route kLapseSubmode = cw::route("vision.lapse_submode");  // same id as the subscription
constexpr cw::Route kLapsePoint = cw::route("vision.lapse_point");
constexpr cw::Route kLapseGo = cw::route("vision.lapse_go");
constexpr cw::Route kLapseRecover = cw::route("vision.lapse_recover");
constexpr cw::Route kQs160Mode = cw::route("vision.qs160_mode");
constexpr cw::Route kQs160Index = cw::route("vision.qs160_index");  // also the qs160 go request
constexpr cw::Route kPanoImageBuf = cw::route("vision.pano_image_buf");

// The panorama image buffer: a header, then the caller's records.
constexpr size_t kPanoImageHeaderLen = 8;
constexpr size_t kPanoImageCountAt = 7;

}  // namespace

extern "C" int32_t cw_v1_vision_api_subscribe_oa_result(uint8_t value) {
    const auto payload = cw::le::pack<uint8_t>(value);
    const int32_t rc = cw::send(kSubscribeOaResult, payload);
    if (rc != 0) {
        CW_LOG(cw::log::kFail, "subscribe oa result fail %d\n", rc);
    }
    return rc;
}

extern "C" int32_t cw_v1_vision_api_subscribe_ric_result(uint8_t value) {
    const auto payload = cw::le::pack<uint8_t>(value);
    const int32_t rc = cw::send(kSubscribeRicResult, payload);
    if (rc != 0) {
        CW_LOG(cw::log::kFail, "subscribe oa result fail %d\n", rc);
    }
    return rc;
}

// ---- Panorama ----

extern "C" int32_t cw_v1_vision_switch_to_pano(uint8_t value0, uint8_t value1) {
    const auto payload = cw::le::pack<uint8_t, uint8_t>(value0, value1);
    const int32_t rc = cw::send(kSwitchToPano, payload);
    if (rc != 0) {
        CW_LOG(cw::log::kFail, "[CW_pano] switch to pano fail: %d\n", rc);
        CW_USRLOG("[CW_pano] switch to pano fail: %d\n", rc);
        return rc;
    }
    // Unlike the other commands, the switch reports its success at level 1.
    CW_LOG(cw::log::kFail, "[CW_pano] switch to pano success: %d\n", rc);
    return 0;
}

extern "C" int32_t cw_v1_vision_pano_control(uint8_t value) {
    const auto payload = cw::le::pack<uint8_t>(value);
    const int32_t rc = cw::send(kPanoControl, payload);
    if (rc != 0) {
        CW_LOG(cw::log::kFail, "vision module start Pano Photo fail %d\n", rc);
        CW_USRLOG("vision module start Pano Photo fail1 %d\n", rc);
        return rc;
    }
    CW_LOG_BOTH(cw::log::kInfo, "vision module start Pano Photo success\n");
    return 0;
}

extern "C" int32_t cw_v1_pano_image_buf(uint32_t value0, uint8_t value1, uint8_t count, const uint8_t *records) {
    CW_REQUIRE(records != nullptr || count == 0);
    const size_t records_len = size_t{CW_PANO_IMAGE_RECORD_LEN} * count;
    cw::HeapPayload payload(kPanoImageHeaderLen + records_len);
    if (!payload.ok()) {
        CW_LOG_BOTH(cw::log::kFail, "send image buf failed %d\n", CW_ERR_NOMEM);
        return CW_ERR_NOMEM;
    }
    uint8_t *p = payload.data();
    cw::le::put<uint32_t>(p, 0, value0);
    cw::le::put<uint8_t>(p, 4, value1);
    cw::le::put<uint8_t>(p, kPanoImageCountAt, count);
    if (records_len != 0) {
        std::memcpy(p + kPanoImageHeaderLen, records, records_len);
    }
    cw::Answer<1> unread;  // the vision processor's answer is not awaited
    const int32_t rc = cw::send(kPanoImageBuf, payload.view(), unread.span());
    payload.release();
    if (rc != 0) {
        CW_LOG_BOTH(cw::log::kFail, "send image buf failed %d\n", rc);
        return rc;
    }
    CW_LOG_BOTH(cw::log::kInfo, "send image buf success\n");
    return 0;
}

// ---- Quick shot ----

extern "C" int32_t cw_v1_quickshot_set_nit_box(uint8_t value0, float box0, float box1, float box2, float box3,
                                               uint8_t value1, uint16_t value2) {
    const auto payload = cw::le::pack<uint8_t, float, float, float, float, uint8_t, uint16_t>(value0, box0, box1, box2,
                                                                                              box3, value1, value2);
    const int32_t rc = cw::send(kQuickshotBox, payload);
    if (rc != 0) {
        CW_LOG_BOTH(cw::log::kFail, "vision module quick_shot fail Set Box %d\n", rc);
        return rc;
    }
    CW_LOG_BOTH(cw::log::kInfo, "vision module quick_shot Set Box success\n");
    return 0;
}

extern "C" int32_t cw_v1_vision_quickshot_enable(uint8_t value0, uint8_t value1, uint8_t value2) {
    const auto payload = cw::le::pack<uint8_t, uint8_t, uint8_t>(value0, value1, value2);
    const int32_t rc = cw::send(kQuickshotEnable, payload);
    if (rc != 0) {
        CW_LOG(cw::log::kFail, "vision module Enable quick_shot fail %d\n", rc);
        CW_USRLOG("vision module Enable quick_shot fail1 or lapse_photo fail %d\n", rc);
        return rc;
    }
    CW_LOG(cw::log::kInfo, "vision module Enable quick_shot success\n");
    CW_USRLOG("vision module Enable quick_shot or lapse_photo success\n");
    return 0;
}

extern "C" int32_t cw_v1_quickshot_set_param(uint8_t p0, uint8_t p1, uint8_t p2, uint8_t p3, uint8_t p4, uint8_t p5,
                                             uint8_t p6, uint8_t p7, uint8_t p8, float value, uint8_t p9, uint8_t p10,
                                             uint8_t p11) {
    const auto payload =
        cw::le::pack<uint8_t, uint8_t, uint8_t, uint8_t, uint8_t, uint8_t, uint8_t, uint8_t, uint8_t, float, uint8_t,
                     uint8_t, uint8_t>(p0, p1, p2, p3, p4, p5, p6, p7, p8, value, p9, p10, p11);
    const int32_t rc = cw::send(kQuickshotParam, payload);
    if (rc != 0) {
        CW_LOG(cw::log::kFail, "vision module quick_shot set_parm fail %d\n", rc);
        CW_USRLOG("vision module quick_shot fail set_parm1 %d\n", rc);
        return rc;
    }
    CW_LOG_BOTH(cw::log::kInfo, "vision module quick_shot set_parm success\n");
    return 0;
}

extern "C" int32_t cw_v1_quickshot_set_index(uint8_t value0, uint8_t value1, uint8_t value2) {
    const auto payload = cw::le::pack<uint8_t, uint8_t, uint8_t>(value0, value1, value2);
    const int32_t rc = cw::send(kQuickshotIndex, payload);
    if (rc != 0) {
        CW_LOG(cw::log::kFail, "vision module quick_shot set_index fail %d\n", rc);
        CW_USRLOG("vision module quick_shot fail set_index1 %d\n", rc);
        return rc;
    }
    CW_LOG_BOTH(cw::log::kInfo, "vision module quick_shot set_index success\n");
    return 0;
}

// ---- Lapse photo ----

extern "C" int32_t cw_v1_lapse_photo_submode(uint8_t value) {
    const auto payload = cw::le::pack<uint8_t>(value);
    const int32_t rc = cw::send(kLapseSubmode, payload);
    if (rc != 0) {
        CW_LOG(cw::log::kFail, "vision module lapse_photo submode fail %d\n", rc);
        CW_USRLOG("vision module lapse_photo fail submode %d\n", rc);
        return rc;
    }
    CW_LOG(cw::log::kInfo, "vision module lapse_photo set_index success\n");
    CW_USRLOG("vision module lapse_photo submode success\n");
    return 0;
}

extern "C" int32_t cw_v1_lapse_photo_point(int32_t point0, int32_t point1, uint8_t value) {
    const auto payload = cw::le::pack<int32_t, int32_t, uint8_t>(point0, point1, value);
    const int32_t rc = cw::send(kLapsePoint, payload);
    if (rc != 0) {
        CW_LOG(cw::log::kFail, "vision module lapse_photo set point fail %d\n", rc);
        CW_USRLOG("vision module lapse_photo fail set point %d\n", rc);
        return rc;
    }
    CW_LOG_BOTH(cw::log::kInfo, "vision module lapse_photo set point success\n");
    return 0;
}

extern "C" int32_t cw_v1_lapse_photo_go(uint8_t value0, uint16_t value1, uint16_t value2, uint64_t value3,
                                        uint8_t value4, uint8_t value5) {
    const auto payload = cw::le::pack<uint8_t, uint16_t, uint16_t, uint64_t, uint8_t, uint8_t>(value0, value1, value2,
                                                                                               value3, value4, value5);
    const int32_t rc = cw::send(kLapseGo, payload);
    if (rc != 0) {
        CW_LOG_BOTH(cw::log::kFail, "vision module lapse_photo fail start %d\n", rc);
        return rc;
    }
    CW_LOG_BOTH(cw::log::kInfo, "vision module lapse_photo start success\n");
    return 0;
}

extern "C" int32_t cw_v1_lapse_photo_recover(uint8_t value0, uint8_t value1) {
    const auto payload = cw::le::pack<uint8_t, uint8_t>(value0, value1);
    const int32_t rc = cw::send(kLapseRecover, payload);
    if (rc != 0) {
        CW_USRLOG("vision module lapse_photo fail recover %d\n", rc);
        return rc;
    }
    CW_USRLOG("vision module lapse_photo recover success\n");
    return 0;
}

// ---- qs160 ----

extern "C" int32_t cw_v1_qs160_mode(uint8_t value0, float value1, uint8_t value2) {
    const auto payload = cw::le::pack<uint8_t, float, uint8_t>(value0, value1, value2);
    const int32_t rc = cw::send(kQs160Mode, payload);
    if (rc != 0) {
        CW_LOG_BOTH(cw::log::kFail, "vision module qs160 fail %d\n", rc);
        return rc;
    }
    CW_LOG(cw::log::kInfo, "vision module qs160  success\n");
    CW_USRLOG("vision module qs160 success\n");
    return 0;
}

extern "C" int32_t cw_v1_qs160_index(uint8_t value) {
    const auto payload = cw::le::pack<uint8_t>(value);
    const int32_t rc = cw::send(kQs160Index, payload);
    if (rc != 0) {
        CW_LOG_BOTH(cw::log::kFail, "vision module qs160 index fail %d\n", rc);
        return rc;
    }
    CW_LOG_BOTH(cw::log::kInfo, "vision module qs160 index success\n");
    return 0;
}

extern "C" int32_t cw_v1_qs160_go(uint8_t value) {
    const auto payload = cw::le::pack<uint8_t>(value);
    const int32_t rc = cw::send(kQs160Index, payload);
    if (rc != 0) {
        CW_LOG_BOTH(cw::log::kFail, "vision module qs160 go fail %d\n", rc);
        return rc;
    }
    CW_LOG_BOTH(cw::log::kInfo, "vision module qs160 go success\n");
    return 0;
}
