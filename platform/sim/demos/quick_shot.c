/* The quick shot: register the quick-shot handlers, clear the status words, set the target box
 * and poll until the quick shot has finished or failed. Exits 0 when it finished. */
#include "demo.h"

int main(void) {
    if (!demo_start_up() || !demo_take_off()) {
        return 1;
    }
    cw_register_v1_quick_shot_result();
    cw_register_v1_quick_shot_finished();
    cw_register_v1_nav_osd();
    int32_t zero = 0;
    cw_set_nav_qs_proc(&zero);
    cw_set_nav_qs_err(&zero);
    demo_ok("quick-shot mode: dronie", cw_v1_vision_quickshot_enable(2, 1, 0));
    if (!demo_ok("target box (0.40, 0.35) 0.20 x 0.30",
                 cw_v1_quickshot_set_nit_box(1, 0.40f, 0.35f, 0.20f, 0.30f, 0, 0))) {
        return 1;
    }
    int32_t proc = -1, err = 0, seen = -1;
    for (double until = demo_now() + 15; demo_now() < until; demo_sleep(0.1)) {
        cw_get_nav_qs_proc(&proc);
        cw_get_nav_qs_err(&err);
        if (proc != seen) {
            uint8_t submode = 0;
            cw_get_nav_qs_submode(&submode);
            demo_say("quick shot %s (sub-mode %u)\n",
                     proc == 0   ? "waiting"
                     : proc == 1 ? "under way"
                                 : "finished",
                     submode);
            seen = proc;
        }
        if (err != 0 || proc == 2) {
            break;
        }
    }
    demo_say("quick shot %s\n", err != 0 ? "FAILED" : proc == 2 ? "finished" : "timed out");
    demo_land();
    return err == 0 && proc == 2 ? 0 : 1;
}
