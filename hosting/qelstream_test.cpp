#include "hosting/qelstream.h"

#include "base/fstreams.h"
#include "hosting/qelattributelist.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

using namespace Quillmark;
using namespace Quillmark::Qel;

namespace
{

uint32 refCount(FUnknown* object)
{
    uint32 count = object->addRef();
    object->release();
    return count - 1;
}

TEST(QelStream, ForwardsEveryOperationToTheWrappedStream)
{
    auto* memory = new FMemoryStream;
    auto* stream = new QelStream(memory);
    IBStream* plugSide = stream;

    char text[] = "state data";
    int32 written = 0;
    ASSERT_EQ(plugSide->write(text, 10, &written), kResultOk);
    EXPECT_EQ(written, 10);
    EXPECT_EQ(memory->size(), 10);

    int64 position = -1;
    EXPECT_EQ(plugSide->tell(&position), kResultOk);
    EXPECT_EQ(position, 10);
    EXPECT_EQ(plugSide->seek(6, IBStream::kIBSeekSet, &position), kResultOk);
    EXPECT_EQ(position, 6);

    char back[8] = {};
    int32 read = 0;
    EXPECT_EQ(plugSide->read(back, 8, &read), kResultOk);
    EXPECT_EQ(read, 4);
    EXPECT_EQ(std::string(back, 4), "data");

    EXPECT_EQ(refCount(static_cast<IBStream*>(memory)), 2u);
    stream->release();
    EXPECT_EQ(refCount(static_cast<IBStream*>(memory)), 1u);
    memory->release();
}

TEST(QelStream, FileNameIsTheLastPartOfThePath)
{
    auto* memory = new FMemoryStream;
    auto* list = new QelAttributeList;
    auto* stream = new QelStream(memory, "/home/user/Presets/Warm Pad \xC3\xA4.qelpreset", list);

    String128 name;
    ASSERT_EQ(stream->getFileName(name), kResultOk);
    EXPECT_EQ(std::u16string(name), u"Warm Pad ä.qelpreset");

    // The plug-in finds the whole path in the stream's attributes.
    IAttributeList* attributes = stream->getAttributes();
    ASSERT_EQ(attributes, static_cast<IAttributeList*>(list));
    TChar path[128];
    ASSERT_EQ(attributes->getString(QelStream::kFilePathAttribute, path, sizeof(path)), kResultOk);
    EXPECT_EQ(std::u16string(path), u"/home/user/Presets/Warm Pad ä.qelpreset");

    EXPECT_EQ(refCount(static_cast<IAttributeList*>(list)), 2u);
    stream->release();
    EXPECT_EQ(refCount(static_cast<IAttributeList*>(list)), 1u);
    list->release();
    memory->release();
}

TEST(QelStream, LongFileNameIsCutTo127UnitsAndTerminated)
{
    auto* memory = new FMemoryStream;
    std::string path = "/tmp/" + std::string(300, 'x');
    auto* stream = new QelStream(memory, path.c_str());
    String128 name;
    ASSERT_EQ(stream->getFileName(name), kResultOk);
    EXPECT_EQ(std::u16string(name), std::u16string(127, u'x'));
    EXPECT_EQ(stream->getAttributes(), nullptr);
    stream->release();
    memory->release();
}

TEST(QelStream, WithoutAPathThereIsNoFileName)
{
    auto* memory = new FMemoryStream;
    auto* list = new QelAttributeList;
    auto* stream = new QelStream(memory, {}, list);
    String128 name = {u'#'};
    EXPECT_EQ(stream->getFileName(name), kResultFalse);
    EXPECT_EQ(name[0], u'#');
    EXPECT_EQ(list->count(), 0) << "no path, no path attribute";

    // Both interfaces are answered by the same object.
    void* asStream = nullptr;
    void* asAttributes = nullptr;
    ASSERT_EQ(stream->queryInterface(IBStream::iid.bytes, &asStream), kResultOk);
    ASSERT_EQ(stream->queryInterface(IStreamAttributes::iid.bytes, &asAttributes), kResultOk);
    EXPECT_EQ(asStream, static_cast<IBStream*>(stream));
    EXPECT_EQ(asAttributes, static_cast<IStreamAttributes*>(stream));
    static_cast<IBStream*>(asStream)->release();
    static_cast<IStreamAttributes*>(asAttributes)->release();

    stream->release();
    list->release();
    memory->release();
}

} // namespace
