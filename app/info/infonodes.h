// The rows and folders of an information page's trees. Each row keeps a copy of the record the
// plug-in handed over, so the page shows what was read even when the plug-in changes later.
// A node owns its children (FNode); the page owns the roots.
#pragma once

#include "base/fnode.h"
#include "qel3/icomponent.h"
#include "qel3/ieditcontroller.h"
#include "qel3/ikeyswitch.h"
#include "qel3/inoteexpression.h"

#include <string>

namespace Quillmark
{

/** A folder of a tree: a unit of the parameter tree (with its id), or a grouping by direction,
    bus or channel (id -1). */
class QelNodeFolder : public FNode
{
    QEL_DECLARE_CLASS(QelNodeFolder, FNode)
public:
    explicit QelNodeFolder(const ConstString& name, int32 id = -1) : FNode(name), id(id) {}

    int32 getId() const { return id; }

    /** This folder or the first folder below it, depth first, with this id; null when none. */
    QelNodeFolder* findFolder(int32 unitId);

private:
    int32 id;
};

class QelBusDisplayData : public FNode
{
    QEL_DECLARE_CLASS(QelBusDisplayData, FNode)
public:
    QelBusDisplayData(const Qel::BusInfo& info, int32 index);

    const Qel::BusInfo& getInfo() const { return info; }
    int32 getIndex() const { return index; }

private:
    Qel::BusInfo info;
    int32 index;
};

class QelAudioBusDisplayData : public QelBusDisplayData
{
    QEL_DECLARE_CLASS(QelAudioBusDisplayData, QelBusDisplayData)
public:
    QelAudioBusDisplayData(const Qel::BusInfo& info, int32 index,
                           Qel::SpeakerArrangement arrangement)
        : QelBusDisplayData(info, index), arrangement(arrangement)
    {
    }

    /** 0 when the plug-in has no audio processor or did not answer. */
    Qel::SpeakerArrangement getArrangement() const { return arrangement; }

private:
    Qel::SpeakerArrangement arrangement;
};

/** Where a MIDI controller drives a parameter; controller -1 for none. */
struct MidiAssignment
{
    int16 bus = 0;
    int16 channel = 0;
    int32 controller = -1;
};

class QelParameterDisplayData : public FNode
{
    QEL_DECLARE_CLASS(QelParameterDisplayData, FNode)
public:
    QelParameterDisplayData(const Qel::ParameterInfo& info, int32 index, MidiAssignment assignment);

    const Qel::ParameterInfo& getInfo() const { return info; }
    int32 getIndex() const { return index; }
    const MidiAssignment& getAssignment() const { return assignment; }

private:
    Qel::ParameterInfo info;
    int32 index;
    MidiAssignment assignment;
};

class QelNoteExpressionDisplayData : public FNode
{
    QEL_DECLARE_CLASS(QelNoteExpressionDisplayData, FNode)
public:
    /** Holds a reference to `controller` (may be null) to ask it for value texts later;
        `className` names the plug-in when such a call throws. */
    QelNoteExpressionDisplayData(const Qel::NoteExpressionTypeInfo& info, int32 index, int16 bus,
                                 int16 channel, Qel::INoteExpressionController* controller,
                                 const ConstString& className = ConstString());
    ~QelNoteExpressionDisplayData() override;

    const Qel::NoteExpressionTypeInfo& getInfo() const { return info; }
    int32 getIndex() const { return index; }
    int16 getBus() const { return bus; }
    int16 getChannel() const { return channel; }
    Qel::INoteExpressionController* getController() const { return controller; }

    /** The plug-in's text for a normalised value of this expression. False without the
        interface, when the plug-in does not answer kResultOk, or when it throws; the message of
        an exception is kept in getLastProblem. */
    bool valueText(double value, String& text) const;
    const std::string& getLastProblem() const { return lastProblem; }

private:
    Qel::NoteExpressionTypeInfo info;
    int32 index;
    int16 bus;
    int16 channel;
    Qel::INoteExpressionController* controller;
    String className;
    mutable std::string lastProblem;
};

class QelKeyswitchDisplayData : public FNode
{
    QEL_DECLARE_CLASS(QelKeyswitchDisplayData, FNode)
public:
    QelKeyswitchDisplayData(const Qel::KeyswitchInfo& info, int32 index, int16 bus, int16 channel);

    const Qel::KeyswitchInfo& getInfo() const { return info; }
    int32 getIndex() const { return index; }
    int16 getBus() const { return bus; }
    int16 getChannel() const { return channel; }

private:
    Qel::KeyswitchInfo info;
    int32 index;
    int16 bus;
    int16 channel;
};

} // namespace Quillmark
