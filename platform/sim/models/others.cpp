// The smaller modules: remote controller (push only), Wi-Fi, battery and the quick-test service;
// and the aircraft's models, one for every modelled row of the module list.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>

#include "model.h"

namespace sim {

namespace {

using namespace layout;

class Rc : public Model {
public:
    Rc() : Model(module("rc")) {}

protected:
    bool command(double, const Req &, Buffer &) override { return false; }
    void step(double, Out &) override {}
    void fill(const Stream &s, double t, Buffer &m) override {
        if (s.msg == &kRcSticks) {
            for (size_t i = 0; i < 4; ++i) {
                m.put(at(kRcSticks, "sticks"), 1024 + 6 * std::sin(t * 3 + static_cast<double>(i)), i);
            }
        } else {
            m.put(at(kRcButtons, "mode_switch"), 1);  // flight-mode switch in position 1
        }
    }
};

class Wifi : public Model {
public:
    Wifi() : Model(module("wifi")) {}

protected:
    bool command(double t, const Req &r, Buffer &) override {
        constexpr const trace::Message &channel = row("wifi.set_channel", Dir::Request);
        if (is(r, channel)) {
            say("t=%.1f s: Wi-Fi on channel %u\n", t, r.in.getu(at(channel, "channel")));
        } else if (is(r, row("wifi.open", Dir::Request)) || is(r, row("wifi.close", Dir::Request))) {
            say("t=%.1f s: Wi-Fi %s\n", t, is(r, row("wifi.open", Dir::Request)) ? "on" : "off");
        }
        return routed(r);
    }
    void step(double, Out &) override {}
    void fill(const Stream &, double, Buffer &) override {}
    // The radio reports its version as text from the first byte of its answer.
    void version(Buffer &out) const override { out.text(0, "sdr 2.4.1", 29); }
};

class Battery : public Model {
public:
    Battery() : Model(module("battery")) {}

protected:
    bool command(double, const Req &r, Buffer &out) override {
        const double soc = pose->battery;
        constexpr const trace::Message &info = row("battery.dynamic_info", Dir::Answer);
        constexpr const trace::Message &cells = row("battery.cell_voltage", Dir::Answer);
        constexpr const trace::Message &sn = row("battery.sn", Dir::Answer);
        if (is(r, info)) {
            out.put(at(info, "voltage_mv"), std::trunc(15200 + soc * 20));
            out.put(at(info, "current_ma"), -4200);  // discharging
            out.put(at(info, "charge"), std::trunc(soc));
            out.put(at(info, "temperature"), 31);
        } else if (is(r, cells)) {
            for (size_t i = 0; i < 4; ++i) {
                out.put(at(cells, "cells_mv"), std::trunc(3800 + soc * 5 - static_cast<double>(i)), i);
            }
        } else if (is(r, sn)) {
            out.put(at(sn, "len"), 12);
            out.text(at(sn, "sn").offset, "BT2205A01234", 12);
        }
        return routed(r);
    }
    void step(double, Out &) override {}
    void fill(const Stream &, double, Buffer &) override {}
};

class QuickTest : public Model {
public:
    QuickTest() : Model(module("quicktest")) {}
    int result_at(const Req &) const override { return -1; }

protected:
    bool command(double t, const Req &r, Buffer &) override {
        constexpr const trace::Message &sw = row("quicktest.switch", Dir::Request);
        if (is(r, sw)) {
            on_ = r.in.getu(at(sw, "on_off")) == 1;
            say("t=%.1f s: quick-test service %s\n", t, on_ ? "on" : "off");
        }
        return routed(r);
    }
    void step(double, Out &) override {}
    bool flowing(const Stream &) const override { return on_; }
    void fill(const Stream &s, double, Buffer &m) override {
        if (s.msg == &kQtProc) {
            m.put(at(kQtProc, "state"), 3);  // running
        } else {
            m.put(at(kQtMsg, "kind"), 1);  // heartbeat
            m.put(at(kQtMsg, "state"), 1);
        }
    }

private:
    bool on_ = false;
};

std::map<const trace::Module *, Maker> &makers() {
    static std::map<const trace::Module *, Maker> m;
    return m;
}

[[gnu::init_priority(kModelsReady)]] const ModelOf kRcModel{module("rc"), make<Rc>};
[[gnu::init_priority(kModelsReady)]] const ModelOf kWifiModel{module("wifi"), make<Wifi>};
[[gnu::init_priority(kModelsReady)]] const ModelOf kBatteryModel{module("battery"), make<Battery>};
[[gnu::init_priority(kModelsReady)]] const ModelOf kQuickTestModel{module("quicktest"), make<QuickTest>};

}  // namespace

ModelOf::ModelOf(const trace::Module &row, Maker make) { makers()[&row] = make; }

std::vector<Model *> build_models(const Conditions &day) {
    std::vector<Model *> models;
    for (const trace::Module &row : trace::kModules) {
        if (!row.modelled) {
            continue;
        }
        const auto it = makers().find(&row);
        if (it == makers().end()) {
            std::fprintf(stderr, "sim: the module %.*s has no model\n", static_cast<int>(row.name.size()),
                         row.name.data());
            std::abort();
        }
        models.push_back(it->second(day));
    }
    return models;
}

}  // namespace sim
