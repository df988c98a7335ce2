#include "zem_utils/zemu_reporter_message.h"

ZemuIReporterMessage::~ZemuIReporterMessage() = default;
