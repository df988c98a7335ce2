// What messages to a reporter have in common.

#pragma once

/// Base class of the messages that a reporter takes; they are told apart by their class.
///
/// Messages have identity and are owned by whoever made them.
class ZemuIReporterMessage
{
public:
    ZemuIReporterMessage() = default;
    ZemuIReporterMessage(ZemuIReporterMessage const&) = delete;
    ZemuIReporterMessage& operator=(ZemuIReporterMessage const&) = delete;
    virtual ~ZemuIReporterMessage();
};
