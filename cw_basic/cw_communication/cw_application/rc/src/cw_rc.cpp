// Remote controller cache: the latest stick values and button information, each kept whole in a
// tear-free cell so that a poller never sees a record mixed from two messages.
#include <cstdint>

#include "cirrow/cw_rc.h"
#include "cw_cell.h"
#include "rc/src/cw_rc_cache.h"

namespace cw::rc {
Latest<RcStickValue> g_stick;
Latest<RcExtendValue> g_extend;
}  // namespace cw::rc

using cw::rc::g_extend;
using cw::rc::g_stick;

extern "C" int32_t cw_rc_module_init(void) {
    g_stick.clear();
    g_extend.clear();
    return 0;
}

extern "C" int32_t cw_rc_update_stick_value(const RcStickValue *value) { return cw::publish(g_stick, value); }

extern "C" int32_t cw_rc_update_extend_value(const RcExtendValue *value) { return cw::publish(g_extend, value); }

extern "C" int32_t cw_rc_get_stick_value(RcStickValue *value) { return cw::copy(g_stick, value); }

extern "C" int32_t cw_rc_get_extend_value(RcExtendValue *value) { return cw::copy(g_extend, value); }
