"""The example missions as test flights: each on a fresh aircraft, judged by the referee."""
import pytest

import first_flight
import panorama
import quick_shot
import square_with_photos


@pytest.mark.speed(10)
def test_first_flight(aircraft):
    first_flight.fly()


@pytest.mark.speed(10)
@pytest.mark.scenario("rough_day.toml", allow=["stream-dropped"])
def test_first_flight_on_a_rough_day(aircraft):
    first_flight.fly()


@pytest.mark.speed(10)
def test_square_with_photos(aircraft):
    assert square_with_photos.fly() == 4


@pytest.mark.speed(10)
def test_quick_shot(aircraft):
    quick_shot.fly()


@pytest.mark.speed(10)
def test_panorama(aircraft):
    panorama.fly()
