#include "zem_utils/zemu_reporter_message.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

class Message : public ZemuIReporterMessage
{
public:
    explicit Message(bool& isAlive) : m_isAlive(isAlive) { m_isAlive = true; }
    ~Message() override { m_isAlive = false; }

private:
    bool& m_isAlive;
};

}  // namespace

TEST(ZemuIReporterMessage, EndsTheWholeMessageThroughItsBase)
{
    bool isAlive = false;
    std::unique_ptr<ZemuIReporterMessage> message = std::make_unique<Message>(isAlive);
    ASSERT_TRUE(isAlive);

    message.reset();

    EXPECT_FALSE(isAlive);
}
