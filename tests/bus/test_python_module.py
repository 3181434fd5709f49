# SPDX-License-Identifier: Apache-2.0
"""The Python module on a real bus, with the library and the host platform."""

import asyncio
import json
import os
import select
import signal
import subprocess
import sys
import threading

import pytest

import healthintf

ROOT = "/com/vexa/olvar/health"
KEY = ROOT + "/python"
SENSOR = "/com/vexa/olvar/sensors/python"
MESSAGE = "HostMonitor.1.0.TemperatureCritical"
WARNING = "HostMonitor.1.0.TemperatureHigh"
ARGUMENTS = ["fan 7", "101.0", "95.0"]


def dumped(kind):
    """The records of the data cache."""
    return json.loads(subprocess.check_output([os.environ["CACHE_DUMP"]]))[kind]


def recorded_health(key=KEY):
    return dumped("health").get(key)


def told(bus):
    """Lets the bus's messages arrive that are on their way."""
    bus.run(0.2)


@pytest.fixture
def bus():
    with healthintf.Bus() as opened:
        yield opened
    assert dumped("health") == {}
    assert dumped("faults") == []


@pytest.fixture
def fan(bus):
    return bus.component(KEY)


def test_component_has_a_node_until_it_is_closed(bus):
    with bus.component(KEY) as fan:
        assert fan.key == KEY
        assert recorded_health() == 2
    assert recorded_health() is None


def test_bus_closes_its_components():
    with healthintf.Bus() as bus:
        bus.component(KEY)
        bus.component(KEY + "/part")
        assert sorted(dumped("health")) == [KEY, KEY + "/part"]
    assert dumped("health") == {}


def test_fault_has_all_that_was_told_of_it(fan):
    fan.add(MESSAGE, ARGUMENTS, sensor=SENSOR, sensor_number=48, sensor_type=4,
            fqdd="Fan.7")
    [fault] = dumped("faults")
    assert fault["messageID"] == MESSAGE
    assert fault["args"] == ARGUMENTS
    assert "fan 7" in fault["message"] and "101.0" in fault["message"]
    assert fault["sensorPath"] == SENSOR
    assert fault["sensorNumber"] == 48
    assert fault["sensorType"] == 4
    assert fault["fqdd"] == "Fan.7"
    assert recorded_health() == 4


def test_only_faults_of_the_message_and_sensor_are_removed(fan):
    for message, sensor in [(MESSAGE, SENSOR), (MESSAGE, "/b"),
                            (WARNING, SENSOR)]:
        fan.add(message, ARGUMENTS, sensor=sensor)
    fan.remove(MESSAGE, SENSOR)
    left = {(each["messageID"], each["sensorPath"])
            for each in dumped("faults")}
    assert left == {(MESSAGE, "/b"), (WARNING, SENSOR)}
    fan.remove(MESSAGE, "/b")
    assert recorded_health() == 3


def test_text_may_be_of_any_language(fan):
    fan.add(MESSAGE, ["Lüfter 7 ≥", "", "95"], sensor=SENSOR)
    assert dumped("faults")[0]["args"] == ["Lüfter 7 ≥", "", "95"]


def test_unknown_message_is_an_error(fan):
    with pytest.raises(healthintf.Error, match="unable to report No.Such.*"
                       "no registry has the message") as raised:
        fan.add("No.Such", sensor=SENSOR)
    assert raised.value.status == 5
    assert dumped("faults") == []


def test_removal_without_a_sensor_is_an_error(fan):
    with pytest.raises(healthintf.Error, match="an argument is wrong"):
        fan.remove(MESSAGE, "")


@pytest.mark.parametrize("text", ["a\0b", "\udcff"])
def test_text_that_c_cannot_take_is_an_error(bus, fan, text):
    for call in [lambda: bus.component(text),
                 lambda: fan.add(text),
                 lambda: fan.add(MESSAGE, [text]),
                 lambda: fan.add(MESSAGE, ARGUMENTS, sensor=text),
                 lambda: fan.add(MESSAGE, ARGUMENTS, fqdd=text),
                 lambda: fan.remove(text, SENSOR),
                 lambda: healthintf.hide(component=text)]:
        with pytest.raises(ValueError):
            call()
    assert dumped("faults") == []


@pytest.mark.parametrize("number", [-1, 2**32, 2**32 + 48])
def test_number_that_c_cannot_take_is_an_error(bus, fan, number):
    fan.add(MESSAGE, ARGUMENTS, sensor=SENSOR, sensor_number=48)
    for call in [lambda: healthintf.hide(sensor_number=number),
                 lambda: fan.add(MESSAGE, ARGUMENTS, sensor_number=number),
                 lambda: fan.add(MESSAGE, ARGUMENTS, sensor_type=number)]:
        with pytest.raises(ValueError, match="not from 0 to 4294967295"):
            call()
    told(bus)
    assert healthintf.count() == (1, 0)


def test_largest_number_of_a_sensor_can_be_reported_and_hidden(bus, fan):
    fan.add(MESSAGE, ARGUMENTS, sensor=SENSOR, sensor_number=2**32 - 1,
            sensor_type=2**32 - 1)
    [fault] = dumped("faults")
    assert fault["sensorNumber"] == fault["sensorType"] == 2**32 - 1
    healthintf.hide(sensor_number=2**32 - 1)
    told(bus)
    assert healthintf.count() == (0, 1)


def test_key_that_is_no_path_is_an_error(bus):
    with pytest.raises(healthintf.Error, match="unable to hold.* no key"):
        bus.component("no key")


def test_key_is_held_once_on_a_connection(bus, fan):
    with pytest.raises(healthintf.Error):
        bus.component(KEY)
    assert recorded_health() == 2


def test_closed_component_is_not_used(fan):
    fan.close()
    fan.close()
    with pytest.raises(ValueError, match=KEY + " is closed"):
        fan.add(MESSAGE, ARGUMENTS, sensor=SENSOR)
    with pytest.raises(ValueError):
        fan.remove(MESSAGE, SENSOR)


def test_closed_bus_is_not_used():
    bus = healthintf.Bus()
    bus.close()
    bus.close()
    for call in [bus.process, bus.fileno, lambda: bus.component(KEY)]:
        with pytest.raises(ValueError, match="the bus is closed"):
            call()


def test_another_thread_is_refused(bus, fan):
    refused = []

    def use():
        for call in [bus.process, fan.close, bus.close,
                     lambda: bus.component(KEY + "/part"),
                     lambda: fan.add(MESSAGE, ARGUMENTS, sensor=SENSOR)]:
            with pytest.raises(RuntimeError, match="another thread"):
                call()
            refused.append(call)

    thread = threading.Thread(target=use)
    thread.start()
    thread.join()
    assert len(refused) == 5
    assert recorded_health() == 2


def test_threads_have_their_own_buses(bus, fan):
    seen = []

    def hold():
        with healthintf.Bus() as own:
            own.component(KEY + "/thread")
            seen.append(recorded_health(KEY + "/thread"))

    thread = threading.Thread(target=hold)
    thread.start()
    thread.join()
    assert seen == [2]
    assert recorded_health(KEY + "/thread") is None
    assert recorded_health() == 2


def test_faults_are_hidden_and_counted(bus, fan):
    fan.add(MESSAGE, ARGUMENTS, sensor=SENSOR, sensor_number=48)
    assert healthintf.count() == (1, 0)
    for what in [{"component": KEY}, {"sensor": SENSOR},
                 {"sensor_number": 48}]:
        healthintf.hide(**what)
        told(bus)
        assert healthintf.count() == healthintf.Counts(visible=0, hidden=1)
        healthintf.hide(**what, hidden=False)
        told(bus)
        assert healthintf.count() == (1, 0)


def test_hiding_nothing_is_an_error():
    with pytest.raises(healthintf.Error, match="unable to hide faults"):
        healthintf.hide()


def test_count_needs_neither_bus_nor_its_thread():
    counts = []
    thread = threading.Thread(target=lambda: counts.append(healthintf.count()))
    thread.start()
    thread.join()
    assert counts == [(0, 0)]


def test_loop_of_any_kind_can_wait_for_the_bus(bus, fan):
    fan.add(MESSAGE, ARGUMENTS, sensor=SENSOR)
    bus.process()
    healthintf.hide(sensor=SENSOR)
    poll = select.poll()
    while healthintf.count().hidden == 0:
        poll.register(bus, bus.events())
        assert poll.poll(20000), "nothing has arrived"
        bus.process()


def test_timeout_is_that_of_the_call_that_waits(bus):
    # healthmgr, which is not there, is asked for the parent.
    bus.component(KEY)
    left = bus.timeout()
    assert left is None or 0 <= left <= 90
    told(bus)
    assert bus.timeout() is None


def test_asyncio_loop_processes_messages(bus, fan, monkeypatch):
    processed = asyncio.Event()
    process = bus.process

    def process_and_tell():
        process()
        processed.set()

    async def wait():
        bus.attach(asyncio.get_running_loop())
        fan.add(MESSAGE, ARGUMENTS, sensor=SENSOR)
        healthintf.hide(sensor=SENSOR)
        while healthintf.count().hidden == 0:
            processed.clear()
            await processed.wait()
        fan.close()
        bus.close()

    monkeypatch.setattr(bus, "process", process_and_tell)
    asyncio.run(asyncio.wait_for(wait(), 20))


# A process of its own, because its bus ends.
LOST = """
import asyncio, os, signal, sys
import healthintf

bus = healthintf.Bus()
fan = bus.component(sys.argv[1])

async def wait():
    lost = asyncio.get_running_loop().create_future()
    bus.attach(asyncio.get_running_loop(), lost.set_result)
    os.kill(int(sys.argv[2]), signal.SIGKILL)
    return await lost

error = None
if sys.argv[3] == "attached":
    error = asyncio.run(asyncio.wait_for(wait(), 20))
else:
    os.kill(int(sys.argv[2]), signal.SIGKILL)
    try:
        while True:
            if sys.argv[3] == "hiding":
                healthintf.hide(sensor="/a")
            else:
                bus.run()
    except OSError as raised:
        error = raised
print()
print(type(error).__name__)
"""


@pytest.mark.parametrize("how", ["attached", "hiding", "running"])
def test_lost_bus_is_an_error(how):
    with subprocess.Popen(
            ["dbus-daemon", "--session", "--nofork", "--print-address"],
            stdout=subprocess.PIPE, text=True) as daemon:
        address = daemon.stdout.readline().strip()
        try:
            done = subprocess.run(
                [sys.executable, "-B", "-c", LOST, KEY, str(daemon.pid), how],
                env=dict(os.environ, DBUS_SYSTEM_BUS_ADDRESS=address,
                         DBUS_SESSION_BUS_ADDRESS=address),
                stdout=subprocess.PIPE, text=True, timeout=60)
        finally:
            daemon.kill()
    assert done.returncode == 0
    assert done.stdout.split("\n")[-2] == "ConnectionResetError"


def test_no_bus_is_an_error():
    nowhere = "unix:path=/nowhere"
    done = subprocess.run(
        [sys.executable, "-B", "-c", "import healthintf\n"
         "for call in [healthintf.Bus, lambda: healthintf.hide(sensor='/a')]:\n"
         "    try:\n        call()\n"
         "    except OSError as error:\n        print(error)\n"],
        env=dict(os.environ, DBUS_SYSTEM_BUS_ADDRESS=nowhere,
                 DBUS_SESSION_BUS_ADDRESS=nowhere),
        stdout=subprocess.PIPE, text=True, check=True)
    assert done.stdout.count("sd_bus_default: No such file") == 2


def test_run_ends_with_an_exception_of_a_signal_handler(bus, fan):
    class Ended(Exception):
        pass

    def end(*_):
        raise Ended

    before = signal.signal(signal.SIGALRM, end)
    try:
        signal.setitimer(signal.ITIMER_REAL, 0.05)
        with pytest.raises(Ended):
            bus.run()
    finally:
        signal.signal(signal.SIGALRM, before)
    assert recorded_health() == 2
