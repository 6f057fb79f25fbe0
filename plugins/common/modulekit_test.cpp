// Tests of the helper headers for module authors: record texts, reference counting, the
// IPluginBase life cycle, the factory and its interface levels, and the self-named identifier.
#include "common/exampleids.h"
#include "common/pluginbase.h"
#include "common/pluginfactory.h"
#include "common/plugintext.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

using namespace Quillmark;
using namespace Quillmark::Qel;

namespace
{

/** The current reference count of an object, read through addRef and release. */
uint32 refCountOf(FUnknown* object)
{
    object->addRef();
    return object->release();
}

/** A host context stand-in. */
class Context : public PluginObject<FUnknown>
{
};

/** Counts the live probes, so tests can see when the factory's objects are destroyed. */
int& liveProbes()
{
    static int count = 0;
    return count;
}

class Probe : public PluginBase<>
{
public:
    Probe() { ++liveProbes(); }
    ~Probe() override { --liveProbes(); }
};

FUnknown* createNothing()
{
    return nullptr;
}

FUnknown* createThrowing()
{
    throw std::runtime_error("no probe today");
}

constexpr QelUid kProbeCid{0x11111111, 0x22222222, 0x33333333, 0x44444444};
constexpr QelUid kNullCid{0x55555555, 0x66666666, 0x77777777, 0x88888888};
constexpr QelUid kThrowCid{0x99999999, 0xAAAAAAAA, 0xBBBBBBBB, 0xCCCCCCCC};
constexpr QelUid kUnknownCid{0x01020304, 0x05060708, 0x090A0B0C, 0x0D0E0F10};

constexpr FactoryDescription kDescription{
    .vendor = "Test Vendor",
    .url = "https://example.test",
    .email = "test@example.test",
    .flags = PFactoryInfo::kUnicode | PFactoryInfo::kComponentNonDiscardable,
};

// A name longer than its fields with a Latin-1 letter and a letter beyond Latin-1, and a version
// whose surrogate pair (U+1F3B5) straddles the 63-unit cut.
constexpr const char16* kLongName =
    u"Probe name \u00E9 with a Latin-1 letter and \u4E2D, a wide one, then more text";
constexpr const char16* kStraddlingVersion =
    u"01234567890123456789012345678901234567890123456789012345678901\U0001F3B5tail";

constexpr ClassEntry kClasses[] = {
    {
        .cid = kProbeCid,
        .cardinality = 1,
        .category = kAudioModuleClass,
        .name = kLongName,
        .classFlags = 5,
        .subCategories = "Fx|Test",
        .vendor = u"Class Vendor",
        .version = kStraddlingVersion,
        .sdkVersion = u"Qel 3.0.0",
        .create = createObject<Probe>,
    },
    {.cid = kNullCid, .name = u"Null", .create = createNothing},
    {.cid = kThrowCid, .name = u"Throw", .create = createThrowing},
};

/** A factory released at the end of the test. */
struct FactoryHolder
{
    explicit FactoryHolder(FactoryLevel level)
        : factory(new PluginFactory(kDescription, kClasses, level))
    {
    }
    ~FactoryHolder() { factory->release(); }
    PluginFactory* factory;
};

template <class Record> void scribble(Record& record)
{
    std::memset(&record, 0xAB, sizeof(Record));
}

template <class Char, std::size_t N> bool zeroAfterText(const Char (&text)[N])
{
    std::size_t i = 0;
    while (i < N && text[i])
        ++i;
    for (; i < N; ++i)
        if (text[i] != 0)
            return false;
    return true;
}

} // namespace

TEST(PluginText, CopiesAreCutToTheFieldAndTerminated)
{
    char8 small[6];
    copyText(small, "abcdefgh");
    EXPECT_STREQ(small, "abcde");
    copyText(small, nullptr);
    EXPECT_STREQ(small, "");
    copyText(small, "ab");
    EXPECT_STREQ(small, "ab");

    char16 wide[6];
    copyText(wide, u"abcdefgh");
    EXPECT_EQ(std::u16string(wide), u"abcde");
    // A pair whose low half would fall outside the field is left out whole.
    copyText(wide, u"abcd\U0001F3B5");
    EXPECT_EQ(std::u16string(wide), u"abcd");
    copyText(wide, u"abc\U0001F3B5");
    EXPECT_EQ(std::u16string(wide), u"abc\U0001F3B5");
    copyText(wide, nullptr);
    EXPECT_EQ(std::u16string(wide), u"");
}

TEST(PluginText, NarrowingKeepsLatin1AndReplacesTheRest)
{
    char8 text[16];
    narrowText(text, u"A\u00E9\u4E2D\U0001F3B5z");
    const unsigned char expected[] = {'A', 0xE9, '?', '?', 'z', 0};
    EXPECT_EQ(std::memcmp(text, expected, sizeof(expected)), 0);

    char8 small[4];
    narrowText(small, u"\U0001F3B5\U0001F3B5\U0001F3B5\U0001F3B5");
    EXPECT_STREQ(small, "???");
}

TEST(PluginObject, CountsReferencesAndAnswersItsInterfaces)
{
    ASSERT_EQ(liveProbes(), 0);
    Probe* probe = new Probe;
    FUnknown* unknown = probe->asUnknown();
    EXPECT_EQ(refCountOf(unknown), 1u);

    void* obj = nullptr;
    ASSERT_EQ(unknown->queryInterface(iidOf<IPluginBase>(), &obj), kResultOk);
    EXPECT_EQ(obj, static_cast<IPluginBase*>(probe));
    EXPECT_EQ(refCountOf(unknown), 2u);
    ASSERT_EQ(unknown->queryInterface(iidOf<FUnknown>(), &obj), kResultOk);
    EXPECT_EQ(obj, unknown);
    EXPECT_EQ(refCountOf(unknown), 3u);

    obj = probe;
    EXPECT_EQ(unknown->queryInterface(iidOf<IPluginFactory>(), &obj), kNoInterface);
    EXPECT_EQ(obj, nullptr);
    EXPECT_EQ(unknown->queryInterface(iidOf<IPluginBase>(), nullptr), kInvalidArgument);
    obj = probe;
    EXPECT_EQ(unknown->queryInterface(nullptr, &obj), kInvalidArgument);
    EXPECT_EQ(obj, nullptr);
    EXPECT_EQ(refCountOf(unknown), 3u);

    EXPECT_EQ(unknown->release(), 2u);
    EXPECT_EQ(unknown->release(), 1u);
    EXPECT_EQ(liveProbes(), 1);
    EXPECT_EQ(unknown->release(), 0u);
    EXPECT_EQ(liveProbes(), 0);
}

TEST(PluginBase, KeepsTheContextFromInitializeToTerminate)
{
    Context* context = new Context;
    Probe* probe = new Probe;

    EXPECT_EQ(probe->initialize(nullptr), kInvalidArgument);
    EXPECT_FALSE(probe->isInitialized());
    EXPECT_EQ(probe->terminate(), kResultFalse);

    EXPECT_EQ(probe->initialize(context), kResultOk);
    EXPECT_EQ(refCountOf(context), 2u);
    EXPECT_EQ(probe->initialize(context), kResultFalse);
    EXPECT_EQ(refCountOf(context), 2u);

    EXPECT_EQ(probe->terminate(), kResultOk);
    EXPECT_EQ(refCountOf(context), 1u);
    EXPECT_EQ(probe->terminate(), kResultFalse);

    // An object released while initialized still gives the context back.
    EXPECT_EQ(probe->initialize(context), kResultOk);
    EXPECT_EQ(refCountOf(context), 2u);
    probe->release();
    EXPECT_EQ(refCountOf(context), 1u);
    EXPECT_EQ(context->release(), 0u);
}

TEST(PluginFactory, AnswersOnlyUpToItsLevel)
{
    struct Case
    {
        FactoryLevel level;
        bool factory2;
        bool factory3;
    };
    for (const Case& c :
         {Case{FactoryLevel::kFactory, false, false}, Case{FactoryLevel::kFactory2, true, false},
          Case{FactoryLevel::kFactory3, true, true}})
    {
        SCOPED_TRACE(static_cast<int>(c.level));
        FactoryHolder holder(c.level);
        FUnknown* unknown = holder.factory->asUnknown();
        void* obj = nullptr;
        ASSERT_EQ(unknown->queryInterface(iidOf<IPluginFactory>(), &obj), kResultOk);
        static_cast<FUnknown*>(obj)->release();
        ASSERT_EQ(unknown->queryInterface(iidOf<FUnknown>(), &obj), kResultOk);
        EXPECT_EQ(obj, unknown);
        static_cast<FUnknown*>(obj)->release();

        EXPECT_EQ(unknown->queryInterface(iidOf<IPluginFactory2>(), &obj),
                  c.factory2 ? kResultOk : kNoInterface);
        if (obj)
            static_cast<FUnknown*>(obj)->release();
        EXPECT_EQ(unknown->queryInterface(iidOf<IPluginFactory3>(), &obj),
                  c.factory3 ? kResultOk : kNoInterface);
        if (obj)
            static_cast<FUnknown*>(obj)->release();
        EXPECT_EQ(refCountOf(unknown), 1u);

        PClassInfo2 info2;
        EXPECT_EQ(holder.factory->getClassInfo2(0, &info2),
                  c.factory2 ? kResultOk : kNotImplemented);
        PClassInfoW infoW;
        EXPECT_EQ(holder.factory->getClassInfoUnicode(0, &infoW),
                  c.factory3 ? kResultOk : kNotImplemented);
        EXPECT_EQ(holder.factory->setHostContext(nullptr),
                  c.factory3 ? kResultOk : kNotImplemented);
    }
}

TEST(PluginFactory, FillsTheThreeRecordKinds)
{
    FactoryHolder holder(FactoryLevel::kFactory3);
    PluginFactory& factory = *holder.factory;
    EXPECT_EQ(factory.countClasses(), 3);

    PFactoryInfo factoryInfo;
    scribble(factoryInfo);
    ASSERT_EQ(factory.getFactoryInfo(&factoryInfo), kResultOk);
    EXPECT_STREQ(factoryInfo.vendor, "Test Vendor");
    EXPECT_STREQ(factoryInfo.url, "https://example.test");
    EXPECT_STREQ(factoryInfo.email, "test@example.test");
    EXPECT_EQ(factoryInfo.flags, PFactoryInfo::kUnicode | PFactoryInfo::kComponentNonDiscardable);
    EXPECT_TRUE(zeroAfterText(factoryInfo.vendor) && zeroAfterText(factoryInfo.url) &&
                zeroAfterText(factoryInfo.email));
    EXPECT_EQ(factory.getFactoryInfo(nullptr), kInvalidArgument);

    PClassInfo info;
    scribble(info);
    ASSERT_EQ(factory.getClassInfo(0, &info), kResultOk);
    EXPECT_TRUE(iidEqual(info.cid, kProbeCid.bytes));
    EXPECT_EQ(info.cardinality, 1);
    EXPECT_STREQ(info.category, kAudioModuleClass);
    EXPECT_EQ(std::string(info.name),
              "Probe name \xE9 with a Latin-1 letter and ?, a wide one, then more");
    EXPECT_TRUE(zeroAfterText(info.category) && zeroAfterText(info.name));
    EXPECT_EQ(factory.getClassInfo(3, &info), kInvalidArgument);
    EXPECT_EQ(factory.getClassInfo(-1, &info), kInvalidArgument);

    PClassInfo2 info2;
    scribble(info2);
    ASSERT_EQ(factory.getClassInfo2(0, &info2), kResultOk);
    EXPECT_EQ(std::memcmp(&info2, &info, sizeof(PClassInfo)), 0);
    EXPECT_EQ(info2.classFlags, 5u);
    EXPECT_STREQ(info2.subCategories, "Fx|Test");
    EXPECT_STREQ(info2.vendor, "Class Vendor");
    EXPECT_EQ(std::string(info2.version),
              "01234567890123456789012345678901234567890123456789012345678901?");
    EXPECT_STREQ(info2.sdkVersion, "Qel 3.0.0");
    EXPECT_TRUE(zeroAfterText(info2.subCategories) && zeroAfterText(info2.vendor) &&
                zeroAfterText(info2.sdkVersion));

    PClassInfoW infoW;
    scribble(infoW);
    ASSERT_EQ(factory.getClassInfoUnicode(0, &infoW), kResultOk);
    EXPECT_TRUE(iidEqual(infoW.cid, kProbeCid.bytes));
    EXPECT_EQ(infoW.cardinality, 1);
    EXPECT_STREQ(infoW.category, kAudioModuleClass);
    EXPECT_EQ(std::u16string(infoW.name), std::u16string(kLongName).substr(0, 63));
    EXPECT_EQ(infoW.classFlags, 5u);
    EXPECT_STREQ(infoW.subCategories, "Fx|Test");
    EXPECT_EQ(std::u16string(infoW.vendor), u"Class Vendor");
    // The pair at units 62 and 63 would lose its low half at the cut, so it goes whole.
    EXPECT_EQ(std::u16string(infoW.version), std::u16string(kStraddlingVersion).substr(0, 62));
    EXPECT_EQ(std::u16string(infoW.sdkVersion), u"Qel 3.0.0");
    EXPECT_TRUE(zeroAfterText(infoW.name) && zeroAfterText(infoW.version) &&
                zeroAfterText(infoW.vendor));
    EXPECT_EQ(factory.getClassInfoUnicode(3, &infoW), kInvalidArgument);
}

TEST(PluginFactory, CreatesInstancesAndContainsFailures)
{
    FactoryHolder holder(FactoryLevel::kFactory3);
    PluginFactory& factory = *holder.factory;
    void* obj = &factory;

    ASSERT_EQ(factory.createInstance(kProbeCid.bytes, iidOf<IPluginBase>(), &obj), kResultOk);
    ASSERT_NE(obj, nullptr);
    EXPECT_EQ(liveProbes(), 1);
    auto* base = static_cast<IPluginBase*>(obj);
    EXPECT_EQ(refCountOf(base), 1u);
    EXPECT_EQ(base->release(), 0u);
    EXPECT_EQ(liveProbes(), 0);

    // An interface the object lacks: the object is made and released again.
    obj = &factory;
    EXPECT_EQ(factory.createInstance(kProbeCid.bytes, iidOf<IPluginFactory>(), &obj), kNoInterface);
    EXPECT_EQ(obj, nullptr);
    EXPECT_EQ(liveProbes(), 0);

    obj = &factory;
    EXPECT_EQ(factory.createInstance(kUnknownCid.bytes, iidOf<FUnknown>(), &obj), kNoInterface);
    EXPECT_EQ(obj, nullptr);
    obj = &factory;
    EXPECT_EQ(factory.createInstance(kNullCid.bytes, iidOf<FUnknown>(), &obj), kResultFalse);
    EXPECT_EQ(obj, nullptr);
    obj = &factory;
    EXPECT_EQ(factory.createInstance(kThrowCid.bytes, iidOf<FUnknown>(), &obj), kResultFalse);
    EXPECT_EQ(obj, nullptr);

    EXPECT_EQ(factory.createInstance(nullptr, iidOf<FUnknown>(), &obj), kInvalidArgument);
    EXPECT_EQ(factory.createInstance(kProbeCid.bytes, nullptr, &obj), kInvalidArgument);
    EXPECT_EQ(factory.createInstance(kProbeCid.bytes, iidOf<FUnknown>(), nullptr),
              kInvalidArgument);
    EXPECT_EQ(liveProbes(), 0);
}

TEST(PluginFactory, KeepsTheHostContextCounted)
{
    Context* first = new Context;
    Context* second = new Context;
    {
        FactoryHolder holder(FactoryLevel::kFactory3);
        ASSERT_EQ(holder.factory->setHostContext(first), kResultOk);
        EXPECT_EQ(holder.factory->getHostContext(), first);
        EXPECT_EQ(refCountOf(first), 2u);
        ASSERT_EQ(holder.factory->setHostContext(second), kResultOk);
        EXPECT_EQ(refCountOf(first), 1u);
        EXPECT_EQ(refCountOf(second), 2u);
    }
    EXPECT_EQ(refCountOf(second), 1u);
    first->release();
    second->release();
}

TEST(ExampleIds, SelfNamedCidIsFnv1aOverThePath)
{
    // FNV-1a with 128 bits gives d228cb69 6f1a8caf 78912b70 4e4a8964 for "a".
    constexpr QelUid expected{0xD228CB69, 0x6F1A8CAF, 0x78912B70, 0x4E4A8964};
    EXPECT_TRUE(iidEqual(Examples::selfNamedCid("a").bytes, expected.bytes));

    const QelUid one = Examples::selfNamedCid("/tmp/modules/copy_001.so");
    const QelUid two = Examples::selfNamedCid("/tmp/modules/copy_002.so");
    EXPECT_TRUE(iidEqual(one.bytes, Examples::selfNamedCid("/tmp/modules/copy_001.so").bytes));
    EXPECT_FALSE(iidEqual(one.bytes, two.bytes));
}

TEST(ExampleIds, AllFixedIdentifiersDiffer)
{
    using namespace Examples;
    const QelUid ids[] = {
        kQelGainCid,     kQelGainControllerCid, kQelToneCid,  kQelSynthCid, kInitDllFalseCid,
        kUniqueCid,      kDiscardableCid,       kAcceptedCid, kOddCid,      kFactory2Cid,
        kNeverUnloadCid, kCountingCid,          kThrowingCid};
    for (std::size_t i = 0; i < std::size(ids); ++i)
        for (std::size_t j = i + 1; j < std::size(ids); ++j)
            EXPECT_FALSE(iidEqual(ids[i].bytes, ids[j].bytes)) << i << " and " << j;
    EXPECT_EQ(std::string(kFactory2Vendor).size(), kFactory2TextLimit);
    EXPECT_GT(std::string(kFactory2Version).size(), kFactory2TextLimit);
}
