#include "base/classfactory.h"
#include "base/fobject.h"

#include <gtest/gtest.h>

using namespace Quillmark;

namespace
{

class Probe : public CmObject
{
    QEL_DECLARE_CLASS(Probe, CmObject)
public:
    static inline int32 countSeenInDestructor = 0;
    static inline int destroyed = 0;
    ~Probe() override
    {
        countSeenInDestructor = getRefCount();
        ++destroyed;
        // A stray release inside the destructor must not destroy a second time.
        release();
    }
};

class DerivedProbe : public Probe
{
    QEL_DECLARE_CLASS(DerivedProbe, Probe)
};

class Made : public FObject
{
public:
    FClassID isTypeName() const override { return "Made"; }
};
QEL_META_CLASS(Made, FUID(0x11111111, 0x22222222, 0x33333333, 0x44444444));

} // namespace

TEST(FObject, ReleaseToZeroMarksTheCountBeforeTheDestructor)
{
    Probe::destroyed = 0;
    auto* probe = new Probe;
    EXPECT_EQ(probe->addRef(), 2u);
    EXPECT_EQ(probe->release(), 1u);
    EXPECT_EQ(probe->release(), 0u);
    EXPECT_EQ(Probe::countSeenInDestructor, FObject::kDestroyedRefCount);
    EXPECT_EQ(Probe::destroyed, 1);
}

TEST(FObject, TypeChecksByClassName)
{
    auto* derived = new DerivedProbe;
    EXPECT_STREQ(derived->isTypeName(), "DerivedProbe");
    EXPECT_TRUE(derived->isA("DerivedProbe"));
    EXPECT_FALSE(derived->isA("Probe"));
    EXPECT_TRUE(derived->isTypeOf("Probe", true));
    EXPECT_FALSE(derived->isTypeOf("FObject", false));
    EXPECT_TRUE(derived->isTypeOf("FObject", true));
    EXPECT_TRUE(derived->isTypeOf("CmObject", true));
    EXPECT_FALSE(derived->isTypeOf(nullptr, true));
    EXPECT_FALSE(derived->isTypeOf("probe", true)); // case matters
    EXPECT_EQ(FCast<Probe>(static_cast<FObject*>(derived)), derived);
    auto* plain = new Probe;
    EXPECT_EQ(FCast<DerivedProbe>(static_cast<FObject*>(plain)), nullptr);
    plain->release();
    derived->release();
}

TEST(FObject, QueryInterfaceAnswersItsOwnIdentifiersWithAReference)
{
    auto* probe = new Probe;
    void* answer = reinterpret_cast<void*>(1);
    EXPECT_EQ(probe->queryInterface(FUID(1, 2, 3, 4).bytes(), &answer), kNoInterface);
    EXPECT_EQ(answer, nullptr);

    ASSERT_EQ(probe->queryInterface(IDependent::iid.bytes, &answer), kResultOk);
    EXPECT_EQ(probe->getRefCount(), 2);
    static_cast<IDependent*>(answer)->release();
    ASSERT_EQ(probe->queryInterface(FUnknown::iid.bytes, &answer), kResultOk);
    static_cast<FUnknown*>(answer)->release();

    // The private request is how the host recognises its own objects behind an interface.
    EXPECT_EQ(FObject::unknownToObject(static_cast<IDependent*>(probe)), probe);
    EXPECT_EQ(probe->getRefCount(), 1);
    EXPECT_EQ(FObject::unknownToObject(nullptr), nullptr);
    probe->release();
}

TEST(CmObject, IdentityComparisonAndHash)
{
    auto* a = new Probe;
    auto* b = new Probe;
    EXPECT_TRUE(a->isEqual(a));
    EXPECT_FALSE(a->isEqual(b));
    EXPECT_EQ(a->compare(a), 0);
    EXPECT_EQ(a->compare(b), -b->compare(a));
    EXPECT_LT(a->hash(7), 7u);
    EXPECT_EQ(a->hash(0), 0u);
    a->release();
    b->release();
}

TEST(ClassFactory, CreatesByNameThenByIdentifierText)
{
    ClassFactory* factory = ClassFactory::instance();
    ASSERT_NE(factory, nullptr);
    FUnknown* byName = factory->createInstance("Made");
    ASSERT_NE(byName, nullptr);
    EXPECT_STREQ(FObject::unknownToObject(byName)->isTypeName(), "Made");
    byName->release();

    FUnknown* byText = factory->createInstance("111111112222222233333333"
                                               "44444444");
    ASSERT_NE(byText, nullptr);
    byText->release();

    FUnknown* byCid = factory->createInstance(FUID(0x11111111, 0x22222222, 0x33333333, 0x44444444));
    ASSERT_NE(byCid, nullptr);
    byCid->release();

    EXPECT_EQ(factory->createInstance("Unknown"), nullptr);
    EXPECT_EQ(factory->createInstance(FUID(5, 5, 5, 5)), nullptr);
}
