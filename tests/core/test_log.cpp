// The two diagnostic channels: line formats, the middleware's veto, truncation, site names.
#include <cirrow/cirrow.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <string>

#include "cw_log.h"
#include "cw_test.h"

using namespace cwt;

namespace {

class Log : public LinkTest {};

int g_line = 0;

// Each site notes its own line number.
void short_fn() { g_line = __LINE__, CW_USRLOG("value %d\r\n", 42); }
void a_function_whose_name_is_longer_than_the_field() { g_line = __LINE__, CW_USRLOG("no line break"); }
void leveled_site(uint32_t level) {
    g_line = __LINE__ + 1;
    CW_LOG(level, "cw something fail %d\n", -5);
}

void both_site() { CW_LOG_BOTH(1, "same text %s\n", "twice"); }

void long_text_site(const std::string &text) { CW_USRLOG("%s", text.c_str()); }

TEST_F(Log, UsrlogLineFormatAndItsCut) {
    short_fn();
    const std::string first = std::to_string(g_line);
    // A name longer than the field widens the bracket; the blank before the colon stays.
    a_function_whose_name_is_longer_than_the_field();
    const std::string second = std::to_string(g_line);
    mbus_ctl_set_boot_time(12345678901234ull);  // wider than ten columns: not cut
    short_fn();
    long_text_site(std::string(2000, 'x'));
    const auto u = usrlog();
    ASSERT_EQ(u.size(), 4u);
    EXPECT_EQ(u[0].raw, " 123456789 USRLOG[short_fn                  :" + first + "]:: value 42\r\n");
    EXPECT_EQ(u[1].raw,
              " 123456789 USRLOG[a_function_whose_name_is_longer_than_the_field :" + second + "]:: no line break");
    EXPECT_EQ(u[2].raw.rfind("12345678901234 USRLOG[short_fn ", 0), 0u);
    mbus_ctl_dump_t d;
    ASSERT_EQ(mbus_ctl_dump_get(3, &d), 0);
    EXPECT_EQ(std::make_tuple(std::string(d.channel), d.len, std::string(d.data).size(), std::string(d.data).back()),
              std::make_tuple(std::string("usrlog"), 1023u, size_t{1023}, 'x'));
}

TEST_F(Log, LeveledLineCarriesModuleSourceFunctionAndLineUnlessRefused) {
    mbus_ctl_set_log_level(1);
    leveled_site(3);  // refused at the head: nothing printed
    EXPECT_EQ(std::make_pair(mbus_ctl_log_head_count(), leveled().size()), std::make_pair(1u, size_t{0}));
    leveled_site(1);
    const auto l = leveled();
    ASSERT_EQ(l.size(), 1u);
    const std::string file = __FILE__;
    EXPECT_EQ(std::make_tuple(l[0].level, l[0].func, l[0].line, l[0].text, l[0].file),
              std::make_tuple(1u, "leveled_site", uint32_t(g_line), "cw something fail -5\n",
                              file.substr(0, file.size() - 4)));  // no extension
    mbus_ctl_log_t raw;
    ASSERT_EQ(mbus_ctl_log_get(0, &raw), 0);
    EXPECT_EQ(raw.module, 68u);

    mbus_ctl_reset();
    both_site();
    EXPECT_EQ(lines("both_site"), both(1, "same text twice\n"));
    EXPECT_EQ(uint32_t(usrlog()[0].line), leveled()[0].line);
}

// The hand-written head against printf at the edges of every field.
TEST_F(Log, UsrlogHeadSameBytesAsPrintf) {
    const uint64_t times[] = {1, 9999999999ull, 10000000000ull, UINT64_MAX};
    const std::string names[] = {"", std::string(24, 'a'), std::string(25, 'b'), std::string(26, 'c'),
                                 std::string(200, 'd')};
    const int lines[] = {0, 7, -1, INT_MIN, INT_MAX};
    for (uint64_t time : times) {
        for (const std::string &name : names) {
            for (int line : lines) {
                mbus_ctl_reset();
                mbus_ctl_set_boot_time(time);
                cw::log::usrlog(name.c_str(), line, "x");
                char want[1024];
                std::snprintf(want, sizeof want, "%10llu USRLOG[%-25s :%d]:: x", static_cast<unsigned long long>(time),
                              name.c_str(), line);
                const auto u = usrlog();
                ASSERT_EQ(u.size(), 1u);
                EXPECT_EQ(u[0].raw, want) << time << " " << line;
            }
        }
    }
    mbus_ctl_set_boot_time(0);
}

// Line texts of plain conversions are written without printf; anything else goes to printf,
// even after plain conversions were written.
TEST_F(Log, UsrlogTextSameAsPrintf) {
    const char *volatile none = nullptr;  // not known to the compiler
    cw::log::usrlog("f", 1, "%d %d %u %x %x %s %c %% end", INT_MIN, 0, UINT_MAX, 0xabcdefu, 0u, "str", 'z');
    cw::log::usrlog("f", 1, "[%s]", none);
    cw::log::usrlog("f", 1, "%d then %5d|%lld|%.2f", 7, -3, 1LL << 40, 2.5);
    const auto u = usrlog();
    ASSERT_EQ(u.size(), 3u);
    EXPECT_EQ(u[0].text, "-2147483648 0 4294967295 abcdef 0 str z % end");
    EXPECT_EQ(u[1].text, "[(null)]");
    EXPECT_EQ(u[2].text, "7 then    -3|1099511627776|2.50");
}

}  // namespace
