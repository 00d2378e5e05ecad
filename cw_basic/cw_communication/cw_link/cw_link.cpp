#include "cirrow/cw_link.h"

#include "cw_args.h"
#include "cw_txn.h"

extern "C" int32_t cw_link_v1_send(const V1Request *req) {
    CW_REQUIRE(req);
    CW_REQUIRE(req->payload_len <= cw::kLinkMaxLen, req->resp_len <= cw::kLinkMaxLen,
               req->payload != nullptr || req->payload_len == 0, req->resp != nullptr || req->resp_len == 0);
    return cw::link_send(*req);
}
