#include "cirrow/cw_link.h"

#include "cw_txn.h"

extern "C" int32_t cw_link_v1_send(const V1Request *req) { return cw::link_send(*req); }
