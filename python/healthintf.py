# SPDX-License-Identifier: Apache-2.0
"""Reports the faults of components from Python, by libhealthintf:

    with healthintf.Bus() as bus:
        fan = bus.component("/com/vexa/olvar/health/chassis/fan7")
        fan.add("HostMonitor.1.0.TemperatureCritical",
                ["fan 7", "101.0", "95.0"],
                sensor="/com/vexa/olvar/sensors/fan7")
        bus.run()

What fails raises an Error, or an OSError where the bus fails. A Bus and its
components are used from the thread that made the Bus. The library writes the
address of each new component to standard output."""

import ctypes
import os
import select
import threading
import time
import typing

__all__ = ["Bus", "Component", "Counts", "Error", "count", "hide"]

_library = ctypes.CDLL("libhealthintf.so.1")
_systemd = ctypes.CDLL("libsystemd.so.0")

_FOREVER = 2**64 - 1
_LARGEST = 2**32 - 1


def _declare(library, name, result, *arguments):
    function = getattr(library, name)
    function.restype = result
    function.argtypes = arguments
    return function


_pointer, _text = ctypes.c_void_p, ctypes.c_char_p
_number, _count = ctypes.c_uint32, ctypes.c_int32
_time = ctypes.POINTER(ctypes.c_uint64)

_make = _declare(
    _library, "FaultAndHealth_Initialization", _pointer, _pointer, _text)
_add = _declare(
    _library, "FaultAndHealth_AddFault", ctypes.c_int, _pointer, _text, _text,
    ctypes.POINTER(_text), _count, _text, _text, _number, _number)
_remove = _declare(
    _library, "FaultAndHealth_RemoveFault", ctypes.c_int, _pointer, _text,
    _text)
_destroy = _declare(_library, "FaultAndHealth_Destuctor", None, _pointer)
_get_counts = _declare(
    _library, "FaultAndHealth_GetVisibleHiddenMsgCount", ctypes.c_int,
    ctypes.POINTER(_count), ctypes.POINTER(_count))
_open = _declare(
    _systemd, "sd_bus_default", ctypes.c_int, ctypes.POINTER(_pointer))
_is_open = _declare(_systemd, "sd_bus_is_open", ctypes.c_int, _pointer)
_unref = _declare(_systemd, "sd_bus_unref", _pointer, _pointer)
_get_fd = _declare(_systemd, "sd_bus_get_fd", ctypes.c_int, _pointer)
_get_events = _declare(_systemd, "sd_bus_get_events", ctypes.c_int, _pointer)
_get_timeout = _declare(
    _systemd, "sd_bus_get_timeout", ctypes.c_int, _pointer, _time)
_process = _declare(
    _systemd, "sd_bus_process", ctypes.c_int, _pointer, _pointer)
_flush = _declare(_systemd, "sd_bus_flush", ctypes.c_int, _pointer)
# Takes the signal's arguments after these. The library's own function lets an
# exception out when the bus is lost, which would end the process.
_emit = _declare(
    _systemd, "sd_bus_emit_signal", ctypes.c_int, _pointer, _text, _text,
    _text, _text)


class Error(Exception):
    """The library refused a call; "status" is its number."""

    def __init__(self, status, text):
        super().__init__(text)
        self.status = status


class Counts(typing.NamedTuple):
    """How many faults there are, of all components in all processes."""

    visible: int
    hidden: int


_REASONS = {
    1: "an argument is wrong",
    4: "the fault could not be made or announced",
    5: "no registry has the message, or the data cache cannot be read",
}


def _require(status, what):
    if status != 0:
        reason = _REASONS.get(status, f"status {status}")
        raise Error(status, f"unable to {what}: {reason}")


def _done(result, call):
    """A result of libsystemd, unless it is an error."""
    if result < 0:
        raise OSError(-result, f"{call}: {os.strerror(-result)}")
    return result


def _bytes(text):
    """A text for C, which would end at its first NUL."""
    if "\0" in text:
        raise ValueError("a text has a NUL")
    return text.encode()


def _checked(number, what):
    """A number for C, which would take it modulo 2**32."""
    if not 0 <= number <= _LARGEST:
        raise ValueError(f"the {what} is {number}, not from 0 to {_LARGEST}")
    return number


def count():
    """Counts the faults of all components in all processes. Needs no Bus, and
    may be called from any thread."""
    visible, hidden = ctypes.c_int32(), ctypes.c_int32()
    _require(_get_counts(ctypes.byref(visible), ctypes.byref(hidden)),
             "count the faults")
    return Counts(visible.value, hidden.value)


def hide(*, component="", sensor="", sensor_number=0, hidden=True):
    """Asks all components in all processes to hide faults, or with
    hidden=False to show them again: those of a component, of a sensor's path,
    or of a sensor's number. Sends on the thread's default connection, as a Bus
    has."""
    if not (component or sensor or sensor_number):
        _require(1, "hide faults")
    number = _checked(sensor_number, "sensor number")
    bus = _connect()
    try:
        _done(_emit(bus, b"/com/vexa/olvar/health",
                    b"com.vexa.olvar.healthmgr", b"HideFaultForSensor",
                    b"bssi", ctypes.c_int(hidden), _bytes(component),
                    _bytes(sensor), ctypes.c_int32(number)),
              "sd_bus_emit_signal")
        _done(_flush(bus), "sd_bus_flush")
    finally:
        _unref(bus)


def _connect():
    """A reference to the thread's default connection."""
    bus = ctypes.c_void_p()
    _done(_open(ctypes.byref(bus)), "sd_bus_default")
    return bus


class Bus:
    """The connection of a thread to the bus, and the components on it.

    All of a thread's components use the connection of its first Bus. Somebody
    must call process() when there is something to do: run() does, attach()
    lets an asyncio loop do it, and another loop takes fileno(), events() and
    timeout()."""

    def __init__(self):
        self._thread = threading.get_ident()
        self._components = []
        # Called after whatever may have queued a message.
        self._settle = lambda: None
        self._detach = lambda: None
        self._bus = _connect()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        """Gives up the components and the connection. Does nothing the second
        time."""
        if self._bus is None:
            return
        self._pointer()
        self._detach()
        for component in list(self._components):
            component.close()
        bus, self._bus = self._bus, None
        _unref(bus)

    def component(self, key):
        """Makes a component. It lasts until its close() or that of the Bus."""
        return Component(self, key)

    def fileno(self):
        """What to wait on for the bus."""
        return _done(_get_fd(self._pointer()), "sd_bus_get_fd")

    def events(self):
        """Which events to wait for, as select.poll() has them."""
        return _done(_get_events(self._pointer()), "sd_bus_get_events")

    def timeout(self):
        """After how many seconds to call process() at the latest; None when
        there is no such time."""
        until = self._until()
        return None if until is None else max(0.0, until - time.monotonic())

    def process(self):
        """Handles all that has arrived, and sends what was queued."""
        while _done(_process(self._pointer(), None), "sd_bus_process"):
            pass

    def run(self, seconds=None):
        """Processes messages for some seconds, or until an exception, as of a
        signal handler or of a connection that is lost."""
        end = None if seconds is None else time.monotonic() + seconds
        poll = select.poll()
        while True:
            self.process()
            left = None if end is None else max(0.0, end - time.monotonic())
            if left == 0:
                return
            poll.register(self, self.events())
            waits = [each for each in (left, self.timeout())
                     if each is not None]
            # Rounded up: the time has come then.
            poll.poll(int(min(waits) * 1000) + 1 if waits else None)

    def attach(self, loop, lost=None):
        """Lets an asyncio loop process the messages until close(). Must be
        called from the loop's thread.

        lost is called with the OSError when the connection is lost; without
        it, the loop's exception handler is."""
        self._detach()
        driver = _Driver(self, loop, lost)
        self._settle, self._detach = driver.settle, driver.detach
        driver.begin()

    def _until(self):
        """When to call process() at the latest, by time.monotonic()."""
        until = ctypes.c_uint64()
        _done(_get_timeout(self._pointer(), ctypes.byref(until)),
              "sd_bus_get_timeout")
        return None if until.value == _FOREVER else until.value / 1e6

    def _pointer(self):
        if self._bus is None:
            raise ValueError("the bus is closed")
        if threading.get_ident() != self._thread:
            raise RuntimeError("used from another thread")
        return self._bus


class _Driver:
    """Processes a Bus in an asyncio loop."""

    def __init__(self, bus, loop, lost):
        self.bus, self.loop, self.lost = bus, loop, lost
        self.descriptor = bus.fileno()
        self.timer = None
        self.writes = False

    def begin(self):
        self.loop.add_reader(self.descriptor, self.process)
        self.process()

    def process(self):
        try:
            self.bus.process()
            self.settle()
        except OSError as error:
            # The descriptor is readable for good now.
            self.detach()
            self.tell(error)

    def settle(self):
        """Wakes the loop for what the bus waits for now."""
        writes = bool(self.bus.events() & select.POLLOUT)
        if writes and not self.writes:
            self.loop.add_writer(self.descriptor, self.process)
        elif self.writes and not writes:
            self.loop.remove_writer(self.descriptor)
        self.writes = writes
        self.set_timer(self.bus._until())

    def set_timer(self, until):
        if self.timer is not None:
            self.timer.cancel()
            self.timer = None
        if until is not None:
            wait = until - time.monotonic()
            self.timer = self.loop.call_later(max(0.0, wait), self.process)

    def tell(self, error):
        if self.lost is not None:
            self.lost(error)
        else:
            self.loop.call_exception_handler(
                {"message": "the bus is lost", "exception": error})

    def detach(self):
        self.set_timer(None)
        self.loop.remove_reader(self.descriptor)
        self.loop.remove_writer(self.descriptor)
        self.bus._settle = self.bus._detach = lambda: None


class Component:
    """One component with its faults; Bus.component() makes it."""

    def __init__(self, bus, key):
        self._bus = bus
        self._object = None
        self.key = key
        made = _make(bus._pointer(), _bytes(key))
        if not made:
            raise Error(4, f"unable to hold the component {key}")
        self._object = made
        bus._components.append(self)
        bus._settle()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def add(self, message, arguments=(), *, sensor="", sensor_number=0,
            sensor_type=0, fqdd=""):
        """Reports a fault by a message of the registry. The same one may be
        reported more than once, and is another fault each time. A fault
        without a sensor cannot be removed alone."""
        texts = [_bytes(text) for text in arguments]
        _require(
            _add(self._pointer(), _bytes(message), _bytes(sensor),
                 (ctypes.c_char_p * len(texts))(*texts), len(texts),
                 _bytes(fqdd), b"", _checked(sensor_number, "sensor number"),
                 _checked(sensor_type, "sensor type")),
            f"report {message}")
        self._bus._settle()

    def remove(self, message, sensor):
        """Takes back every fault of a message and sensor."""
        _require(_remove(self._pointer(), _bytes(message), _bytes(sensor)),
                 f"take {message} back")
        self._bus._settle()

    def close(self):
        """Takes back the faults and the health node. Does nothing the second
        time."""
        if self._object is None:
            return
        _destroy(self._pointer())
        self._object = None
        self._bus._components.remove(self)
        self._bus._settle()

    def _pointer(self):
        if self._object is None:
            raise ValueError(f"{self.key} is closed")
        # Of another thread, it must not be used, nor after its bus.
        self._bus._pointer()
        return self._object
