# What buildroot_test.py has in the place of Buildroot's own make files.
BR_BUILDING = y
BR2_PACKAGE_STATUS_DISPLAY = y
qstrip = $(strip $(subst ",,$(1)))
cmake-package = $(call inner-cmake-package,STATUS_DISPLAY)
define inner-cmake-package
PACKAGES += status-display
status-display:
	mkdir -p $(OUT)/build $(OUT)/target
	rsync -a --exclude .git $$($(1)_OVERRIDE_SRCDIR_RSYNC_EXCLUSIONS) $$($(1)_SITE)/ $(OUT)/build
	cd $(OUT)/build && cmake -G Ninja . -DCMAKE_TOOLCHAIN_FILE=$(TOOLCHAIN) -DARMHF_SYSROOT=$(SYSROOT) \
		-DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_BUILD_TYPE=Release $$($(1)_CONF_OPTS)
	cmake --build $(OUT)/build
	DESTDIR=$(OUT)/target cmake --install $(OUT)/build
endef
include $(BR2_EXTERNAL_STATUS_DISPLAY_PATH)/external.mk
show-%:
	@echo '$($*)'
define NEWLINE


endef
users:
	@printf '%s\n' '$(subst $(NEWLINE),' ',$(STATUS_DISPLAY_USERS))'
