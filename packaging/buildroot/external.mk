# SPDX-License-Identifier: Apache-2.0
include $(sort $(wildcard $(BR2_EXTERNAL_OVO_PATH)/package/*/*.mk))
