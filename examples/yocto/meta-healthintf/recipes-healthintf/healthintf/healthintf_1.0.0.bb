require healthintf.inc

# The tag of the release, which a product replaces by the commit that it is.
HEALTHINTF_TAG ?= "v${PV}"
SRC_URI:append = ";tag=${HEALTHINTF_TAG}"
