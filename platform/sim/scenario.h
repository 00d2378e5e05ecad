// A scenario: the models' behaviour over time, per module, read from a TOML file.
//
//   speed = 2.0                  # the aircraft's clock against the wall clock (default 1)
//   replay = "flight.pcap"       # pushes recorded in a capture (the link trace's MBUS_PCAP), sent
//                                # again at their recorded times from the capture's first record,
//                                # on the aircraft's clock (a capture taken by cirrow-sim at any
//                                # speed holds the aircraft's time); the modules whose pushes it holds
//                                # push nothing of their own; requests are answered as ever. A
//                                # relative path is from the scenario's folder.
//
//   [battery]
//   start = 80.0                 # charge at take-off, percent (default 96)
//   drain = 4.0                  # percent per minute in the air, more in the climb, none on the
//                                # ground (default 3)
//   low_at = 120.0               # seconds on the aircraft's clock: the charge falls to `low`
//   low = 15.0                   # percent (default 15, under the applications' landing level 19)
//
//   critical = 10.0              # percent: the flight controller lands by itself (default 10)
//
//   [wind]
//   north = 1.5                  # a steady drift of the aircraft in the air, m/s (default 0)
//   east = -0.5
//
//   [limits]                     # the envelope: steering beyond it is flown at the limit
//   horizontal_speed = 10.0      # m/s (default 10)
//   climb_speed = 4.0            # m/s up (default 4)
//   descent_speed = 3.0          # m/s down (default 3)
//   yaw_rate = 150.0             # degrees per second (default 150)
//   steering_hold = 0.5          # seconds a steering command holds before the aircraft brakes to
//                                # a hover (default 0.5)
//   gimbal_pitch_min = -90.0     # degrees (defaults: pitch -90..30, roll -45..45, yaw -320..320)
//   gimbal_pitch_max = 30.0      # (and gimbal_roll_min/max, gimbal_yaw_min/max)
//
//   [failsafe]
//   grace = 3.0                  # seconds the flight controller waits, once the application
//                                # holding control is gone with the aircraft in the air (default 3)
//   action = "land"              # then: land | return (fly home, then land) (default land)
//
//   [referee]
//   allow = ["stream-without-handler"]   # rules waived: still reported, never a mistake
//
//   [[event]]
//   time = 3.0                   # seconds on the aircraft's clock (default 0)
//   module = "camera"            # flight, vision, camera, gimbal, rc, wifi, battery, quicktest
//   answer = "silent"            # normal | refuse | late | short | silent
//   command = "2/1"              # only this set/id, one the module serves (default: every command)
//   byte = 3                     # refuse: the result byte (default 1)
//   delay_ms = 500               # late: how long answers take (default: longer than any timeout)
//   length = 1                   # short: how many answer bytes arrive (default 0)
//
//   [[event]]
//   time = 1.0
//   module = "flight"
//   rate = 2.0                   # pushes per second; 0 stops them
//   push = "flight.fc_state"     # only this message, one the module streams (default: all of them)
//
// A command a module serves is one the link's message table sends to the module's receivers. Keys
// that do not apply (byte without answer = "refuse", push without rate, ...) are errors.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "envelope.h"

namespace sim {

enum class Answer : uint8_t { Normal, Refuse, Late, Short, Silent };

struct Event {
    double time = 0;
    std::string module;
    bool sets_answer = false;
    Answer answer = Answer::Normal;
    int set = -1;  // -1: every command
    int id = -1;
    uint8_t byte = 1;
    uint32_t delay_ms = 0;  // 0: never in time
    uint32_t length = 0;
    bool sets_rate = false;
    double hz = 0;
    std::string push;  // empty: every stream of the module
    int line = 0;
};

struct Scenario {
    std::string file;
    double speed = 1.0;
    std::vector<Event> events;  // in time order

    double battery_start = 96;                             // percent at the start
    double battery_drain = 3;                              // percent per minute of flight
    double low_battery_at = -1;                            // seconds on the aircraft's clock; < 0: never
    double battery_low = envelope::kBatteryLow;            // percent the charge falls to at low_battery_at
    double wind_north = 0;                                 // m/s, a steady drift while in the air
    double wind_east = 0;                                  // m/s
    double battery_critical = envelope::kBatteryCritical;  // percent: the flight controller lands itself
    std::string replay;                                    // a capture to replay (path as opened), empty: none

    // The envelope (m/s, degrees per second, seconds, degrees).
    double max_horizontal = envelope::kHorizontalSpeed, max_climb = envelope::kClimbSpeed;
    double max_descent = envelope::kDescentSpeed, max_yaw_rate = envelope::kYawRate;
    double steering_hold = envelope::kSteeringHold;
    double gimbal_min_pitch = envelope::kGimbalMin[0], gimbal_max_pitch = envelope::kGimbalMax[0];
    double gimbal_min_roll = envelope::kGimbalMin[1], gimbal_max_roll = envelope::kGimbalMax[1];
    double gimbal_min_yaw = envelope::kGimbalMin[2], gimbal_max_yaw = envelope::kGimbalMax[2];
    // The failsafe once the application holding control is gone in the air.
    double failsafe_grace = envelope::kFailsafeGrace;
    bool failsafe_return = false;    // fly home before landing
    std::vector<std::string> allow;  // the referee's waived rules
};

// A command a module serves: its route and its name in the link's message table.
struct Served {
    int set;
    int id;
    std::string name;
};

// The modules a scenario may name: the commands each serves and the messages it streams.
struct ModuleNames {
    std::string name;
    std::vector<Served> commands;
    std::vector<std::string> pushes;
};

// The virtual aircraft's modules as a scenario names them.
std::vector<ModuleNames> aircraft_modules();

// The reference of every key a scenario may hold and of the modules it may name (Markdown), from
// the reader's own list: docs/scenarios.md.
std::string scenario_reference();

// Reads and checks a scenario (and the capture it replays). On failure returns false with every
// problem as "file:line: problem", one a line, in the file's order.
bool load_scenario(const std::string &path, Scenario &out, std::string &error);

}  // namespace sim
