include $(sort $(wildcard $(BR2_EXTERNAL_STATUS_DISPLAY_PATH)/package/*/*.mk))
