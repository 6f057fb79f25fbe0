#include "devices/midi/pmergedmidiinput.h"

#include "base/fattributes.h"
#include "base/fattrvalues.h"

#include <algorithm>

namespace Quillmark
{

/** The sink of the merged device: what it receives leaves through the merged source. */
class PMergedMidiInput::MergedInput : public PMidiInput
{
public:
    MergedInput(PMergedMidiInput* device, PMidiOutput* output)
        : PMidiInput(device, PMergedMidiInput::kName, "merged"), output(output)
    {
    }
    void receive(PEvent* event) override { output->deliver(event); }

private:
    PMidiOutput* output;
};

PMergedMidiInput::PMergedMidiInput(PPortRegistry* registry) : PDevice(kName, false, registry)
{
    mergedOutput = new PMidiOutput(this, kName, "merged");
    mergedInput = new MergedInput(this, mergedOutput);
    adoptPort(mergedInput);
    adoptPort(mergedOutput);
}

PMergedMidiInput::~PMergedMidiInput()
{
    // The sink goes first, so nothing arrives at a source that is being taken apart.
    mergedInput->disconnectAll();
}

int32 PMergedMidiInput::addInputs(const std::vector<PPort*>& sources)
{
    int32 connected = 0;
    for (PPort* source : sources)
    {
        if (!source || source->isInputPin() || !source->isType("midi") ||
            source->isSubtype("merged") || isExcluded(source))
            continue;
        if (!source->isConnectedTo(mergedInput) && source->connect(mergedInput))
            ++connected;
    }
    return connected;
}

bool PMergedMidiInput::isExcluded(const PPort* source) const
{
    PPortID id;
    if (!source || !source->getUniqueName(id))
        return false;
    return std::find(excluded.begin(), excluded.end(), id.getText()) != excluded.end();
}

void PMergedMidiInput::setExcluded(PPort* source, bool exclude)
{
    PPortID id;
    if (!source || !source->getUniqueName(id))
        return;
    const auto found = std::find(excluded.begin(), excluded.end(), id.getText());
    if (exclude)
    {
        if (found == excluded.end())
            excluded.push_back(id.getText());
        source->disconnect(mergedInput);
    }
    else if (found != excluded.end())
    {
        excluded.erase(found);
    }
}

void PMergedMidiInput::store(FAttributes& attributes) const
{
    FAttrList* section = attributes.setList("Excluded");
    FStringList* list = section->setStringList("PortIDs");
    list->clear();
    for (const std::string& id : excluded)
        list->add(String(id.c_str()));
}

void PMergedMidiInput::restore(const FAttributes& attributes)
{
    excluded.clear();
    const FAttrList* section = attributes.getList("Excluded");
    const FStringList* list = section ? section->getStringList("PortIDs") : nullptr;
    if (!list)
        return;
    for (int32 i = 0; i < list->count(); ++i)
    {
        const PPortID id = PPortID::fromText(list->at(i));
        if (id.isValid())
            excluded.push_back(id.getText());
    }
}

} // namespace Quillmark
