// The smaller modules: remote controller (push only), Wi-Fi, battery and the quick-test service;
// and the list of every model of the aircraft.
#include <cmath>

#include "model.h"

namespace sim {

namespace {

using namespace layout;

class Rc : public Model {
public:
    Rc() : Model("rc") { streams = {{kRcButtons, 5}, {kRcSticks, 20}}; }
    bool serves(uint16_t) const override { return false; }

protected:
    void command(double, const Req &, Bytes &) override {}
    void step(double, Out &) override {}
    void fill(const Stream &s, double t, Bytes &m) override {
        if (s.msg.id == kRcSticks.id) {
            for (size_t i = 0; i < 4; ++i) {
                m.u16(2 * i, static_cast<uint32_t>(1024 + std::lround(6 * std::sin(t * 3 + static_cast<double>(i)))));
            }
        } else {
            m.u16(0, 0);
            m.u16(2, 1);  // flight-mode switch in position 1
            m.u8(4, 0);
            m.u8(5, 0);
        }
    }
};

class Wifi : public Model {
public:
    Wifi() : Model("wifi") {}
    bool serves(uint16_t receiver) const override {
        return receiver == kWifi || receiver == kWifiChannel || receiver == kWifiPower;
    }

protected:
    void command(double t, const Req &r, Bytes &out) override {
        out.u8(0, 0);
        if (r.set == 7 && r.id == 43) {
            say("t=%.1f s: Wi-Fi on channel %u\n", t, r.in.get(1, 2));
        } else if (r.set == 7 && (r.id == 65 || r.id == 66)) {
            say("t=%.1f s: Wi-Fi %s\n", t, r.id == 65 ? "on" : "off");
        }
    }
    void step(double, Out &) override {}
    void fill(const Stream &, double, Bytes &) override {}
    // The radio reports its version as text from the first byte of its answer.
    void version(Bytes &out) const override { out.text(0, "sdr 2.4.1", 29); }
};

class Battery : public Model {
public:
    Battery() : Model("battery") {}
    bool serves(uint16_t receiver) const override { return receiver == kBattery; }

protected:
    void command(double t, const Req &r, Bytes &out) override {
        out.u8(0, 0);
        const double soc = std::max(5.0, 96 - t / 20);
        if (r.id == 2) {
            out.u16(1, static_cast<uint32_t>(15200 + soc * 20));             // millivolts
            out.u16(3, static_cast<uint32_t>(static_cast<int32_t>(-4200)));  // milliamperes, discharging
            out.u8(5, static_cast<uint8_t>(soc));
            out.u8(6, 31);  // temperature
        } else if (r.id == 3) {
            for (size_t i = 0; i < 4; ++i) {
                out.u16(1 + 2 * i, static_cast<uint32_t>(3800 + soc * 5 - static_cast<double>(i)));
            }
        } else if (r.id == 4) {
            out.u8(kBatterySnLenAt, 12);
            out.text(3, "BT2205A01234", 12);
        }
    }
    void step(double, Out &) override {}
    void fill(const Stream &, double, Bytes &) override {}
};

class QuickTest : public Model {
public:
    QuickTest() : Model("quicktest") { streams = {{kQtProc, 1}, {kQtMsg, 5}}; }
    bool serves(uint16_t receiver) const override { return receiver == kQuickTest; }
    int result_at(const Req &) const override { return -1; }

protected:
    void command(double t, const Req &r, Bytes &) override {
        if (r.set == 34 && r.id == 72) {
            on_ = r.in.get8(0) == 1;
            say("t=%.1f s: quick-test service %s\n", t, on_ ? "on" : "off");
        }
    }
    void step(double, Out &) override {}
    bool flowing(const Stream &) const override { return on_; }
    void fill(const Stream &s, double, Bytes &m) override {
        if (s.msg.id == kQtProc.id) {
            m.u8(0, 3);  // running
        } else {
            m.u8(0, 1);  // heartbeat
            m.u8(1, 1);
        }
    }

private:
    bool on_ = false;
};

}  // namespace

Model *make_flight();
Model *make_vision();
Model *make_camera();
Model *make_gimbal();

std::vector<Model *> build_models() {
    return {make_flight(), make_vision(), make_camera(), make_gimbal(), new Rc, new Wifi, new Battery, new QuickTest};
}

}  // namespace sim
