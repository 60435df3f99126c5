################################################################################
#
# status-display
#
################################################################################

# Our sources are the tree that this external tree lies in; the version's home is the project's first lines.
STATUS_DISPLAY_SITE = $(realpath $(BR2_EXTERNAL_STATUS_DISPLAY_PATH)/../..)
STATUS_DISPLAY_SITE_METHOD = local
STATUS_DISPLAY_VERSION = $(shell sed -n 's/^project.status-display VERSION \([0-9.]*\) .*/\1/p' \
	$(STATUS_DISPLAY_SITE)/CMakeLists.txt)
STATUS_DISPLAY_LICENSE = MIT
STATUS_DISPLAY_LICENSE_FILES = LICENSE
# Fonts and pictures are made by a Python script.
STATUS_DISPLAY_DEPENDENCIES = dbus host-pkgconf host-python3
# The build folder of whoever works on the sources stays where it is.
STATUS_DISPLAY_OVERRIDE_SRCDIR_RSYNC_EXCLUSIONS = --exclude /build

STATUS_DISPLAY_LVGL_DIR = $(call qstrip,$(BR2_PACKAGE_STATUS_DISPLAY_LVGL_DIR))
ifeq ($(BR2_PACKAGE_STATUS_DISPLAY)$(BR_BUILDING),yy)
ifeq ($(STATUS_DISPLAY_LVGL_DIR),)
$(error status-display: set BR2_PACKAGE_STATUS_DISPLAY_LVGL_DIR to an LVGL 6.1 source tree)
endif
endif

STATUS_DISPLAY_CONF_OPTS = \
	-DSTATUS_DISPLAY_DESK=OFF \
	-DLVGL_DIR=$(STATUS_DISPLAY_LVGL_DIR)

# As in sysusers.d; made with the image.
define STATUS_DISPLAY_USERS
	status-display -1 status-display -1 * - - - Status display
	- -1 status-display-senders -1 - - - - Senders of display commands
endef

$(eval $(cmake-package))
