#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""An example: a daemon in Python with an asyncio loop that reports what one
component's temperature sensor reads.

    asyncio_daemon.py KEY

Each line of standard input is a reading, in degrees. The daemon ends with its
input and after SIGTERM."""

import asyncio
import signal
import sys

import healthintf

LIMIT = 95
MESSAGE = "HostMonitor.1.0.TemperatureCritical"
SENSOR = "/com/vexa/olvar/sensors/example"


class ReadingFault:
    """Keeps the fault that fits the last reading."""

    def __init__(self, component):
        self.component = component
        self.reported = False

    def take(self, text):
        try:
            hot = float(text) > LIMIT
        except ValueError:
            print("no reading:", text, file=sys.stderr, flush=True)
            return
        if hot == self.reported:
            return
        if hot:
            self.component.add(
                MESSAGE, ["the example", text, str(LIMIT)], sensor=SENSOR,
                sensor_number=1, sensor_type=1, fqdd="Example.1")
        else:
            self.component.remove(MESSAGE, SENSOR)
        self.reported = hot


async def read_lines(take):
    """Hands each line of standard input over until its end."""
    # A line of any length: the usual limit would end this task.
    reader = asyncio.StreamReader(sys.maxsize)
    loop = asyncio.get_running_loop()
    await loop.connect_read_pipe(
        lambda: asyncio.StreamReaderProtocol(reader), sys.stdin)
    async for line in reader:
        take(line.decode(errors="backslashreplace").rstrip("\n"))


async def serve(key):
    loop = asyncio.get_running_loop()
    with healthintf.Bus() as bus:
        fault = ReadingFault(bus.component(key))
        readings = asyncio.ensure_future(read_lines(fault.take))
        lost = loop.create_future()
        bus.attach(loop, lost.set_exception)
        loop.add_signal_handler(signal.SIGTERM, readings.cancel)
        done, _ = await asyncio.wait([readings, lost],
                                     return_when=asyncio.FIRST_COMPLETED)
        for each in done:
            if not each.cancelled():
                each.result()


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: asyncio_daemon.py KEY")
    try:
        asyncio.run(serve(sys.argv[1]))
    except (healthintf.Error, OSError) as error:
        sys.exit(f"asyncio-daemon: {error}")


main()
