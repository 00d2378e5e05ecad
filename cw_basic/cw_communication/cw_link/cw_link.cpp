#include "cirrow/cw_link.h"

#include "mbus.h"

extern "C" int32_t cw_link_v1_send(const V1Request *req) {
    return mbus_link_v1_send(req->cmd_set, req->cmd_id, req->receiver, req->payload, req->payload_len, req->resp,
                             req->resp_len, req->timeout);
}
