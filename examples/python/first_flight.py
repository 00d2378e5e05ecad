#!/usr/bin/env python3
"""The first flight: start-up, control, take-off, a hover, landing, control released."""
import cirrow
from cirrow import flight


def fly() -> None:
    flight.start()  # handlers and the flight data's subscription
    with flight.control():  # lands and releases control whatever happens inside
        state = flight.take_off()
        print(f"in the air at {state.height_m:.1f} m")
        cirrow.sleep(2)
        flight.land_and_wait()


if __name__ == "__main__":
    with cirrow.Aircraft(speed=4) as aircraft:
        fly()
    print(aircraft.report)
