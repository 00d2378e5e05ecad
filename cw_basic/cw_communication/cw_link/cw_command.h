// A link command as a declaration: its Command (row and policy), its request, and what it does
// and logs on each outcome. perform() is the one body that sends, waits, judges, hands the
// outcome to the handlers and returns the command's result:
//
//   return cw::perform(kPing, kPing.encode(byte),
//                      CW_IF_UNSENT(CW_USRLOG("ping fail %d\n", v.ret)),
//                      CW_IF_DONE(*out = kPing.get<"reply">(ans)));
//
// A handler is written at the command's site, as a lambda over the verdict `v` and the answer
// `ans`: its log lines name the exported function it is written in (the handler carries that
// name as cw_site_func_, which the log macros take) and the line they stand on, or the line
// given at the site (CW_USRLOG_AT and the like, cw_log.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "cw_log.h"
#include "cw_txn.h"

namespace cw {

// Which outcomes a handler runs on: not sent, refused, either failure, sent (refused or done),
// done, or every outcome.
enum class When : uint8_t { Unsent, Refused, Failed, Sent, Done, Always };

constexpr bool on_outcome(When w, Outcome o) {
    switch (w) {
        case When::Unsent:
            return o == Outcome::SendFailed;
        case When::Refused:
            return o == Outcome::Refused;
        case When::Failed:
            return o != Outcome::Done;
        case When::Sent:
            return o != Outcome::SendFailed;
        case When::Done:
            return o == Outcome::Done;
        case When::Always:
            break;
    }
    return true;
}

// A handler: `f(verdict, answer)`, run on the outcomes `W` names.
template <When W, class F>
struct On {
    F f;
    template <class A>
    constexpr void operator()(const Verdict &v, const A &ans) const {
        if (on_outcome(W, v.outcome)) {
            f(v, ans);
        }
    }
};
template <When W, class F>
constexpr On<W, F> on(F f) {
    return {f};
}

// Runs the handlers of `v`'s outcome, in order, over the answer `ans`, and returns the command's
// result: for a command whose request is laid out and sent by a helper of its own, or refused
// at the library's door (cw::unsent).
template <class A, class... H>
inline int32_t handle(const Verdict &v, const A &ans, const H &...handlers) {
    (handlers(v, ans), ...);
    return v.code;
}

// Sends `cmd`'s request with `payload`, awaiting an answer in `ans` (none when it is empty),
// judges it, runs the handlers in order and returns the command's result.
template <class Judge, size_t R, class A, class... H>
inline int32_t perform_with(const Command<Judge, R> &cmd, std::span<const uint8_t> payload, A &ans,
                            const H &...handlers) {
    return handle(run(cmd, payload, ans.span()), ans, handlers...);
}

// The same, awaiting an answer of the answer row's length, zeroed.
template <class Judge, size_t R, class... H>
inline int32_t perform(const Command<Judge, R> &cmd, std::span<const uint8_t> payload, const H &...handlers) {
    auto ans = Command<Judge, R>::answer_buffer();
    return perform_with(cmd, payload, ans, handlers...);
}

// The same, the answer buffer filled with `Fill` (what it holds where nothing came back).
template <uint8_t Fill, class Judge, size_t R, class... H>
inline int32_t perform_filled(const Command<Judge, R> &cmd, std::span<const uint8_t> payload, const H &...handlers) {
    auto ans = Command<Judge, R>::answer_buffer(Fill);
    return perform_with(cmd, payload, ans, handlers...);
}

// The same, the answer going into the caller's buffer `into`.
struct CallerAnswer {
    std::span<uint8_t> bytes;
    constexpr std::span<uint8_t> span() const { return bytes; }
};
template <class Judge, size_t R, class... H>
inline int32_t perform_into(const Command<Judge, R> &cmd, std::span<const uint8_t> payload, std::span<uint8_t> into,
                            const H &...handlers) {
    CallerAnswer ans{into};
    return perform_with(cmd, payload, ans, handlers...);
}

// The same without awaiting an answer: the handlers see an empty one.
template <class Judge, size_t R, class... H>
inline int32_t post(const Command<Judge, R> &cmd, std::span<const uint8_t> payload, const H &...handlers) {
    AnswerBuffer<0> none;
    return perform_with(cmd, payload, none, handlers...);
}

}  // namespace cw

// A handler for the outcomes `when` names: its statements, over the verdict `v` and answer `ans`.
#define CW_ON_OUTCOME(when, ...)                                                                 \
    ::cw::on<::cw::When::when>(                                                                  \
        [&, cw_site_func_ = CW_FUNC](const ::cw::Verdict &v, [[maybe_unused]] const auto &ans) { \
            static_cast<void>(cw_site_func_);                                                    \
            static_cast<void>(v);                                                                \
            __VA_ARGS__;                                                                         \
        })
#define CW_IF_UNSENT(...) CW_ON_OUTCOME(Unsent, __VA_ARGS__)
#define CW_IF_REFUSED(...) CW_ON_OUTCOME(Refused, __VA_ARGS__)
#define CW_IF_FAILED(...) CW_ON_OUTCOME(Failed, __VA_ARGS__)
#define CW_IF_SENT(...) CW_ON_OUTCOME(Sent, __VA_ARGS__)
#define CW_IF_DONE(...) CW_ON_OUTCOME(Done, __VA_ARGS__)
#define CW_ALWAYS(...) CW_ON_OUTCOME(Always, __VA_ARGS__)
