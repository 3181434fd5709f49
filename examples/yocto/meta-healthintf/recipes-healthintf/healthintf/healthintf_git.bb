require healthintf.inc

PV = "1.0.0+git"
SRCREV = "${AUTOREV}"
