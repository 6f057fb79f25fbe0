// "All MIDI Inputs": one source that carries what every input plays, except the ones the user
// left out, kept across runs by their unique names.
#include "devices/midi/mididevicetestsupport.h"
#include "devices/midi/pmergedmidiinput.h"
#include "devices/midi/pmidiinterface.h"
#include "devices/ports/pportregistry.h"

#include "base/fattributes.h"

#include <gtest/gtest.h>

namespace Quillmark
{
namespace
{

using testing::MidiReceiver;

class FeedSocket : public PHWMidiInSocket
{
public:
    using PHWMidiInSocket::PHWMidiInSocket;
    bool activate() override
    {
        active.store(true);
        return true;
    }
    void deactivate() override { active.store(false); }
    bool isFake() const override { return true; }
    void feed(uint8 status, uint8 data1, uint8 data2)
    {
        const uint8 bytes[3] = {status, data1, data2};
        handleMessage(bytes, 3, 0);
    }
};

class TwoKeyboards : public PMidiInterface
{
public:
    explicit TwoKeyboards(PPortRegistry* registry)
        : PMidiInterface("Keyboards", "Keyboards", registry)
    {
        left = static_cast<FeedSocket*>(addInputSocket(new FeedSocket(this, "Left")));
        right = static_cast<FeedSocket*>(addInputSocket(new FeedSocket(this, "Right")));
    }
    ~TwoKeyboards() override { close(); }
    FeedSocket* left;
    FeedSocket* right;
};

class MergedInput : public ::testing::Test
{
protected:
    void TearDown() override
    {
        receiver->release();
        merged->release();
        keyboards->release();
    }
    std::vector<PPort*> sources() const
    {
        return {keyboards->left, keyboards->right, merged->getMergedOutput()};
    }

    PPortRegistry registry;
    TwoKeyboards* keyboards = new TwoKeyboards(&registry);
    PMergedMidiInput* merged = new PMergedMidiInput(&registry);
    MidiReceiver* receiver = new MidiReceiver;
};

TEST_F(MergedInput, ItsPortsAreMergedMidiPortsThatSortFirst)
{
    EXPECT_EQ(merged->getName(), "All MIDI Inputs");
    PMidiOutput* out = merged->getMergedOutput();
    EXPECT_TRUE(out->isType("midi"));
    EXPECT_TRUE(out->isSubtype("merged"));
    EXPECT_TRUE(merged->getMergedInput()->isSubtype("merged"));
    EXPECT_EQ(out->getNameText(), "All MIDI Inputs");
    EXPECT_LT(PPortRegistry::comparePorts(*out, *keyboards->left), 0);
    PPortID id;
    ASSERT_TRUE(out->getUniqueName(id));
    EXPECT_EQ(registry.findPort(id), out);
}

TEST_F(MergedInput, CarriesEveryInputThatIsNotLeftOut)
{
    ASSERT_TRUE(merged->getMergedOutput()->connect(receiver->getPort()));
    EXPECT_EQ(merged->addInputs(sources()), 2) << "a merged source is never an input";
    EXPECT_EQ(merged->addInputs(sources()), 0) << "connected already";
    EXPECT_TRUE(keyboards->left->isActive());
    EXPECT_TRUE(keyboards->right->isActive());

    keyboards->left->feed(0x90, 60, 100);
    keyboards->right->feed(0x91, 61, 100);
    keyboards->left->feed(0x80, 60, 0);
    auto got = receiver->received();
    ASSERT_EQ(got.size(), 3u);
    EXPECT_EQ(got[0].status, 0x90);
    EXPECT_EQ(got[1].status, 0x91);
    EXPECT_EQ(got[2].noteId, got[0].noteId) << "note identifiers are the input's own";

    merged->setExcluded(keyboards->right, true);
    EXPECT_TRUE(merged->isExcluded(keyboards->right));
    EXPECT_FALSE(keyboards->right->isConnectedTo(merged->getMergedInput()));
    keyboards->right->feed(0x91, 62, 100);
    EXPECT_EQ(receiver->count(), 3u);
    EXPECT_EQ(merged->addInputs(sources()), 0) << "a source left out stays out";
}

TEST_F(MergedInput, TheSourcesLeftOutAreKeptByUniqueName)
{
    merged->setExcluded(keyboards->right, true);
    auto* attributes = new FAttributes;
    merged->store(*attributes);
    const FAttrList* excluded = attributes->getList("Excluded");
    ASSERT_NE(excluded, nullptr);
    const FStringList* ids = excluded->getStringList("PortIDs");
    ASSERT_NE(ids, nullptr);
    ASSERT_EQ(ids->count(), 1);
    EXPECT_EQ(ids->at(0), "O|Keyboards|Right");

    auto* again = new PMergedMidiInput(nullptr);
    again->restore(*attributes);
    EXPECT_TRUE(again->isExcluded(keyboards->right));
    EXPECT_FALSE(again->isExcluded(keyboards->left));
    EXPECT_EQ(again->addInputs(sources()), 1);
    again->release();

    // A damaged list keeps what it can read.
    ids = nullptr;
    FStringList* damaged = attributes->getList("Excluded")->setStringList("PortIDs");
    damaged->clear();
    damaged->add("not a port");
    damaged->add("O|Keyboards|Left");
    merged->restore(*attributes);
    EXPECT_TRUE(merged->isExcluded(keyboards->left));
    EXPECT_FALSE(merged->isExcluded(keyboards->right));
    attributes->release();
}

} // namespace
} // namespace Quillmark
