# SPDX-License-Identifier: Apache-2.0
SUMMARY = "Common services for the daemons of a board-management controller"
SECTION = "libs"
LICENSE = "Apache-2.0"
LIC_FILES_CHKSUM = "file://LICENSE;md5=3b83ef96387f14655fc854ddc3c6bd57"

# The release's archive (script/tarball): in files/ beside this recipe, or where the product's configuration says.
VARNEL_URI ?= "file://varnel-${PV}.tar.gz"
SRC_URI = "${VARNEL_URI}"

inherit cmake pkgconfig

EXTRA_OECMAKE = "-DCMAKE_BUILD_TYPE=MinSizeRel -DVARNEL_BUILD_TESTS=OFF -DVARNEL_BUILD_EXAMPLES=OFF -DVARNEL_SYMBOL_VERSIONS=ON"

# platform: for boards whose own libraries do not define the functions of varnel/platform.h. ipmi links libfreeipmi, which is under
# the GPL, version 3 or later, and needs a recipe freeipmi. The simulated board is for the building machine.
PACKAGECONFIG ??= "platform"
PACKAGECONFIG:class-native ??= "platform tools sim"
PACKAGECONFIG[platform] = "-DVARNEL_BUILD_PLATFORM=ON,-DVARNEL_BUILD_PLATFORM=OFF"
PACKAGECONFIG[ipmi] = "-DVARNEL_BUILD_IPMI=ON,-DVARNEL_BUILD_IPMI=OFF,freeipmi"
PACKAGECONFIG[tools] = "-DVARNEL_BUILD_TOOLS=ON,-DVARNEL_BUILD_TOOLS=OFF,cli11 fmt inih nlohmann-json"
PACKAGECONFIG[sim] = "-DVARNEL_BUILD_SIM=ON,-DVARNEL_BUILD_SIM=OFF,cli11 fmt inih nlohmann-json"

PACKAGES =+ "${PN}-platform-ipmi ${PN}-platform ${PN}-tools ${PN}-sim ${PN}-decoders"
FILES:${PN} = "${libdir}/libvarnel_common.so.*"
FILES:${PN}-platform = "${libdir}/libvarnel_platform.so.*"
FILES:${PN}-platform-ipmi = "${libdir}/libvarnel_platform_ipmi.so.*"
FILES:${PN}-tools = "${bindir}/varnel ${datadir}/bash-completion/completions/varnel ${datadir}/fish/vendor_completions.d/varnel.fish ${datadir}/zsh/site-functions/_varnel"
FILES:${PN}-sim = "${bindir}/varnel-sim* ${libdir}/varnel ${datadir}/varnel ${datadir}/bash-completion/completions/varnel-sim ${datadir}/fish/vendor_completions.d/varnel-sim.fish ${datadir}/zsh/site-functions/_varnel-sim"
FILES:${PN}-decoders = "${libdir}/wireshark ${datadir}/libsigrokdecode"
FILES:${PN}-dev += "${libdir}/cmake"

BBCLASSEXTEND = "native nativesdk"
