#include "cirrow/cw_link.h"

#include "cw_args.h"
#include "mbus.h"

extern "C" int32_t cw_link_v1_send(const V1Request *req) {
    CW_REQUIRE(req);
    CW_REQUIRE(req->payload_len <= cw::kLinkMaxLen, req->resp_len <= cw::kLinkMaxLen,
               req->payload != nullptr || req->payload_len == 0, req->resp != nullptr || req->resp_len == 0);
    return mbus_link_v1_send(req->cmd_set, req->cmd_id, req->receiver, req->payload, req->payload_len, req->resp,
                             req->resp_len, req->timeout);
}
