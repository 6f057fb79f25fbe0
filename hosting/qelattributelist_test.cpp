#include "hosting/qelattributelist.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

using namespace Quillmark;
using namespace Quillmark::Qel;

namespace
{

/** The count of references that `object` has now. */
uint32 refCount(FUnknown* object)
{
    uint32 count = object->addRef();
    object->release();
    return count - 1;
}

/** Fills `buffer` with a marker so that a missing terminator shows. */
template <size_t N> void scribble(TChar (&buffer)[N])
{
    for (TChar& unit : buffer)
        unit = u'#';
}

TEST(QelAttributeList, ReadsBackEachTypeAndReplacesByName)
{
    QelAttributeList list;
    IAttributeList* attributes = &list;
    ASSERT_EQ(attributes->setInt("count", -1234567890123), kResultOk);
    ASSERT_EQ(attributes->setFloat("gain", 0.25), kResultOk);
    ASSERT_EQ(attributes->setString("title", u"Grand Piano"), kResultOk);

    int64 count = 0;
    double gain = 0;
    TChar title[32];
    EXPECT_EQ(attributes->getInt("count", count), kResultOk);
    EXPECT_EQ(count, -1234567890123);
    EXPECT_EQ(attributes->getFloat("gain", gain), kResultOk);
    EXPECT_EQ(gain, 0.25);
    EXPECT_EQ(attributes->getString("title", title, sizeof(title)), kResultOk);
    EXPECT_EQ(std::u16string(title), u"Grand Piano");
    EXPECT_EQ(list.getType("count"), QelAttributeList::kInteger);
    EXPECT_EQ(list.getType("gain"), QelAttributeList::kFloat);
    // The owner bit of a text copy does not show in its type.
    EXPECT_EQ(list.getType("title"), QelAttributeList::kString16);

    // A set under a name that exists replaces the value, whatever type it had.
    attributes->setFloat("count", 2.5);
    EXPECT_EQ(list.getType("count"), QelAttributeList::kFloat);
    EXPECT_EQ(list.count(), 3);
}

TEST(QelAttributeList, ReadOfAnotherTypeGivesZeroWithTheStoresResult)
{
    QelAttributeList list;
    list.setFloat("gain", 0.75);
    list.setInt("count", 9);
    list.setString("title", u"x");

    int64 intValue = 55;
    EXPECT_EQ(list.getInt("gain", intValue), kResultOk);
    EXPECT_EQ(intValue, 0);
    intValue = 55;
    EXPECT_EQ(list.getInt("title", intValue), kResultOk);
    EXPECT_EQ(intValue, 0);

    double floatValue = 5.5;
    EXPECT_EQ(list.getFloat("count", floatValue), kResultOk);
    EXPECT_EQ(floatValue, 0.0);

    floatValue = 5.5;
    intValue = 55;
    EXPECT_EQ(list.getFloat("missing", floatValue), kResultFalse);
    EXPECT_EQ(list.getInt("missing", intValue), kResultFalse);
    EXPECT_EQ(floatValue, 0.0);
    EXPECT_EQ(intValue, 0);
    EXPECT_EQ(list.setInt(nullptr, 1), kInvalidArgument);
}

TEST(QelAttributeList, GetStringCutsToTheBufferAndAlwaysTerminates)
{
    QelAttributeList list;
    list.setString("title", u"Strings");

    TChar two[1];
    scribble(two);
    EXPECT_EQ(list.getString("title", two, 2), kResultOk);
    EXPECT_EQ(two[0], 0);

    TChar four[8];
    scribble(four);
    EXPECT_EQ(list.getString("title", four, 8), kResultOk);
    EXPECT_EQ(std::u16string(four), u"Str");
    EXPECT_EQ(four[4], u'#'); // nothing written behind the fourth unit

    // An odd size holds only whole units.
    scribble(four);
    EXPECT_EQ(list.getString("title", four, 5), kResultOk);
    EXPECT_EQ(std::u16string(four), u"S");

    EXPECT_EQ(list.getString("title", nullptr, 8), kResultFalse);
    scribble(four);
    EXPECT_EQ(list.getString("title", four, 0), kResultFalse);
    EXPECT_EQ(list.getString("title", four, 1), kResultFalse);
    EXPECT_EQ(four[0], u'#');
}

TEST(QelAttributeList, GetStringConvertsEightBitTextAndRefusesOtherTypes)
{
    QelAttributeList list;
    list.setString8("name", "Gr\xC3\xBC\xC3\x9F"
                            "e \xF0\x9D\x84\x9E");
    EXPECT_EQ(list.getType("name"), QelAttributeList::kString8);

    TChar text[16];
    ASSERT_EQ(list.getString("name", text, sizeof(text)), kResultOk);
    EXPECT_EQ(std::u16string(text), u"Grüße \U0001D11E");

    // A cut that would fall inside a surrogate pair leaves the pair out.
    TChar cut[8];
    ASSERT_EQ(list.getString("name", cut, 8 * 2), kResultOk);
    EXPECT_EQ(std::u16string(cut), u"Grüße ");

    list.setInt("count", 3);
    EXPECT_EQ(list.getString("count", text, sizeof(text)), kResultFalse);
    EXPECT_EQ(list.getString("missing", text, sizeof(text)), kResultFalse);
    EXPECT_EQ(list.setString("title", nullptr), kInvalidArgument);
}

TEST(QelAttributeList, StoresACopyOfTheCallersText)
{
    QelAttributeList list;
    std::u16string source = u"before";
    list.setString("title", source.c_str());
    source = u"changed";
    TChar text[16];
    ASSERT_EQ(list.getString("title", text, sizeof(text)), kResultOk);
    EXPECT_EQ(std::u16string(text), u"before");
}

TEST(QelAttributeList, BinaryIsACopyThatStaysWhereItIs)
{
    QelAttributeList list;
    std::vector<uint8> source = {1, 2, 3, 4, 5};
    ASSERT_EQ(list.setBinary("blob", source.data(), uint32(source.size())), kResultOk);
    source.assign(5, 0xEE);

    const void* data = nullptr;
    uint32 size = 0;
    ASSERT_EQ(list.getBinary("blob", data, size), kResultOk);
    ASSERT_EQ(size, 5u);
    const uint8 expected[] = {1, 2, 3, 4, 5};
    EXPECT_EQ(std::memcmp(data, expected, 5), 0);

    // Many more entries later, the pointer handed out still points at the same bytes.
    for (int i = 0; i < 100; ++i)
    {
        std::string name = "more" + std::to_string(i);
        list.setBinary(name.c_str(), &i, sizeof(i));
        list.setInt(name.c_str(), i);
    }
    EXPECT_EQ(std::memcmp(data, expected, 5), 0);
    const void* again = nullptr;
    list.getBinary("blob", again, size);
    EXPECT_EQ(again, data);
}

TEST(QelAttributeList, MissingOrEmptyBinaryGivesNullAndZero)
{
    QelAttributeList list;
    int placeholder = 0;
    const void* data = &placeholder;
    uint32 size = 7;
    EXPECT_EQ(list.getBinary("missing", data, size), kResultFalse);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(size, 0u);

    ASSERT_EQ(list.setBinary("empty", nullptr, 0), kResultOk);
    data = &placeholder;
    size = 7;
    EXPECT_EQ(list.getBinary("empty", data, size), kResultFalse);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(size, 0u);

    EXPECT_EQ(list.setBinary("bad", nullptr, 4), kInvalidArgument);
    // Values and binary copies are separate sections: an integer is no binary copy.
    list.setInt("number", 1);
    EXPECT_EQ(list.getBinary("number", data, size), kResultFalse);
}

TEST(QelAttributeList, CopyLeavesOutTransientValuesAndObjects)
{
    // Any counted object will do as the object value.
    FUnknown* object = static_cast<IAttributeList*>(new QelAttributeList);
    {
        QelAttributeList source;
        source.setInt("kept", 1);
        source.setString("scratch", u"temp");
        source.setTransient("scratch");
        source.setObject("object", object);
        const uint8 bytes[] = {9, 8, 7};
        source.setBinary("blob", bytes, 3);
        source.setBinary("secret", bytes, 3);
        source.setTransient("secret");
        EXPECT_EQ(refCount(object), 2u);

        QelAttributeList copy;
        copy.setFloat("old", 1.0); // replaced, not merged
        copy.copyFrom(source);
        EXPECT_EQ(copy.count(), 2);
        int64 kept = 0;
        EXPECT_EQ(copy.getInt("kept", kept), kResultOk);
        EXPECT_EQ(kept, 1);
        EXPECT_EQ(copy.getType("scratch"), QelAttributeList::kNoValue);
        EXPECT_EQ(copy.getType("object"), QelAttributeList::kNoValue);
        EXPECT_EQ(copy.getType("old"), QelAttributeList::kNoValue);
        EXPECT_TRUE(copy.hasBinary("blob"));
        EXPECT_FALSE(copy.hasBinary("secret"));
        EXPECT_EQ(refCount(object), 2u) << "a copy must not take the object";

        // The copy's binary block is its own.
        const void* fromSource = nullptr;
        const void* fromCopy = nullptr;
        uint32 size = 0;
        source.getBinary("blob", fromSource, size);
        copy.getBinary("blob", fromCopy, size);
        EXPECT_NE(fromSource, fromCopy);
    }
    EXPECT_EQ(refCount(object), 1u) << "the list releases its objects";
    object->release();
}

TEST(QelAttributeList, ObjectValuesHoldAReferenceUntilReplaced)
{
    FUnknown* object = static_cast<IAttributeList*>(new QelAttributeList);
    QelAttributeList list;
    list.setObject("object", object);
    EXPECT_EQ(list.getObject("object"), object);
    EXPECT_EQ(list.getType("object"), QelAttributeList::kObject);
    EXPECT_EQ(refCount(object), 2u);
    list.setInt("object", 4);
    EXPECT_EQ(refCount(object), 1u);
    EXPECT_EQ(list.getObject("object"), nullptr);
    object->release();
}

TEST(QelAttributeList, AnswersItsInterface)
{
    auto* list = new QelAttributeList;
    void* answer = nullptr;
    ASSERT_EQ(list->queryInterface(IAttributeList::iid.bytes, &answer), kResultOk);
    EXPECT_EQ(answer, static_cast<IAttributeList*>(list));
    static_cast<IAttributeList*>(answer)->release();
    EXPECT_EQ(list->queryInterface(IMessage::iid.bytes, &answer), kNoInterface);
    EXPECT_EQ(answer, nullptr);
    list->release();
}

} // namespace
