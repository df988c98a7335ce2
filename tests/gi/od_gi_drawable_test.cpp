#include "gi/od_gi_drawable.h"
#include "root/od_rx_class.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

std::vector<std::string>* g_journal = nullptr;

void note(std::string const& line)
{
    g_journal->push_back(line);
}

}  // namespace

namespace drawabletest {

class Shape : public OdGiDrawable
{
    RX_DECLARE_CLASS(Shape);

protected:
    unsigned subSetAttributes(OdGiSubEntityTraits* /*traits*/) const override { return 2; }
    unsigned subWorldDraw(OdGiWorldDraw* /*worldDraw*/) const override
    {
        note("shape");
        return 4;
    }
};

class Round : public Shape
{
    RX_DECLARE_CLASS(Round);
};

RX_DEFINE_CLASS(Shape, OdGiDrawable, odrxCreateNothing, L"Shape");
RX_DEFINE_CLASS(Round, Shape, odrxCreateNothing, L"Round");

}  // namespace drawabletest

namespace {

using drawabletest::Round;
using drawabletest::Shape;

/// Writes its name, does what it is told, and hands on.
class NotingOverrule : public OdGiDrawableOverrule
{
public:
    explicit NotingOverrule(char const* name) : m_name(name) {}

    std::function<void()> onDraw;
    bool isFor = true;

    bool isApplicable(OdRxObject const* /*object*/) const override { return isFor; }
    unsigned worldDraw(OdGiDrawable const* drawable, OdGiWorldDraw* worldDraw) override
    {
        note(m_name);
        if (onDraw) {
            onDraw();
        }
        return OdGiDrawableOverrule::worldDraw(drawable, worldDraw);
    }

private:
    std::string m_name;
};

using Overrule = OdSmartPtr<NotingOverrule>;

Overrule makeOverrule(char const* name)
{
    return Overrule::attach(new OdRxObjectImpl<NotingOverrule>(name));
}

class Drawable : public testing::Test
{
protected:
    using Journal = std::vector<std::string>;

    Drawable()
    {
        OdRxObject::rxInit();
        OdRxOverrule::rxInit();
        OdGiDrawable::rxInit();
        OdGiDrawableOverrule::rxInit();
        Shape::rxInit();
        Round::rxInit();
        g_journal = &m_journal;
    }
    ~Drawable() override
    {
        m_shape.release();
        Round::rxUninit();
        Shape::rxUninit();
        OdGiDrawableOverrule::rxUninit();
        OdGiDrawable::rxUninit();
        OdRxOverrule::rxUninit();
        OdRxObject::rxUninit();
    }
    Journal drawn()
    {
        m_journal.clear();
        EXPECT_EQ(m_shape->worldDraw(nullptr), 4U);
        return m_journal;
    }

    Journal m_journal;
    OdSmartPtr<Round> m_shape = OdSmartPtr<Round>::attach(new OdRxObjectImpl<Round>);
};

TEST_F(Drawable, DrawsItselfWithoutOverrules)
{
    EXPECT_EQ(drawn(), Journal({"shape"}));
    EXPECT_EQ(m_shape->setAttributes(nullptr), 2U);
}

TEST_F(Drawable, DrawsThroughTheOverrulesOfItsClassAndThenOfItsBases)
{
    const Overrule own = makeOverrule("own");
    const Overrule ofBase = makeOverrule("of base");
    OdRxOverrule::addOverrule(Shape::desc(), ofBase.get());
    OdRxOverrule::addOverrule(Round::desc(), own.get());
    EXPECT_EQ(drawn(), Journal({"own", "of base", "shape"}));
    ofBase->isFor = false;
    EXPECT_EQ(drawn(), Journal({"own", "shape"}));
    OdRxOverrule::removeOverrule(Round::desc(), own.get());
    OdRxOverrule::removeOverrule(Shape::desc(), ofBase.get());
    EXPECT_EQ(drawn(), Journal({"shape"}));
}

TEST_F(Drawable, AsksAnOverruleOnceThatIsAttachedToItsClassAndToItsBase)
{
    const Overrule both = makeOverrule("both");
    const Overrule other = makeOverrule("other");
    OdRxOverrule::addOverrule(Round::desc(), both.get());
    OdRxOverrule::addOverrule(Round::desc(), other.get(), /*atEnd=*/true);
    OdRxOverrule::addOverrule(Shape::desc(), both.get());
    EXPECT_EQ(drawn(), Journal({"both", "other", "shape"}));
    OdRxOverrule::removeOverrule(Round::desc(), both.get());
    OdRxOverrule::removeOverrule(Round::desc(), other.get());
    OdRxOverrule::removeOverrule(Shape::desc(), both.get());
}

TEST_F(Drawable, KeepsAnOverruleThatTakesItselfOutWhileItDraws)
{
    Overrule fleeting = makeOverrule("fleeting");
    NotingOverrule& drawing = *fleeting;
    OdRxOverrule::addOverrule(Round::desc(), fleeting.get());
    drawing.onDraw = [&] { OdRxOverrule::removeOverrule(Round::desc(), &drawing); };
    fleeting.release();
    EXPECT_EQ(drawn(), Journal({"fleeting", "shape"}));
    EXPECT_EQ(drawn(), Journal({"shape"}));
}

TEST_F(Drawable, DrawsItselfBehindAnOverruleThatTookItselfOut)
{
    const Overrule fleeting = makeOverrule("fleeting");
    const Overrule other = makeOverrule("other");
    OdRxOverrule::addOverrule(Round::desc(), fleeting.get());
    OdRxOverrule::addOverrule(Round::desc(), other.get(), /*atEnd=*/true);
    fleeting->onDraw = [&] { OdRxOverrule::removeOverrule(Round::desc(), fleeting.get()); };
    EXPECT_EQ(drawn(), Journal({"fleeting", "shape"}));
    EXPECT_EQ(drawn(), Journal({"other", "shape"}));
    OdRxOverrule::removeOverrule(Round::desc(), other.get());
}

}  // namespace
