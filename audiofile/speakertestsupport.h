// Helpers for the speaker arrangement tests: a dependent that counts the change messages of one
// arrangement, and the speaker numbers of a list. Test code only.
#pragma once

#include "audiofile/speakerarrangement.h"
#include "base/fcapabilities.h"
#include "base/updatehandler.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace Quillmark::testing
{

/** Hangs on one object for the life of the scope and counts its "changed" messages. */
class ChangeCounter : public FObject
{
public:
    explicit ChangeCounter(FObject& watched) : watched(watched)
    {
        UpdateHandler::instance()->addDependent(&watched, this);
    }
    ~ChangeCounter() override { UpdateHandler::instance()->removeDependent(&watched, this); }
    ChangeCounter(const ChangeCounter&) = delete;
    ChangeCounter& operator=(const ChangeCounter&) = delete;

    void update(FUnknown*, int32 message) override
    {
        if (message == kChanged)
            ++changes;
    }

    int32 changes = 0;

private:
    FObject& watched;
};

inline std::vector<int32> idsOf(const ASpeakerArrangement& arrangement)
{
    std::vector<int32> ids;
    for (int32 i = 0; i < arrangement.count(); ++i)
        ids.push_back(arrangement.idAt(i));
    return ids;
}

/** A list of exactly these numbers, duplicates included. */
inline void fillWith(ASpeakerArrangement& arrangement, std::initializer_list<int32> ids)
{
    arrangement.removeAll();
    for (int32 id : ids)
        arrangement.append(id);
}

/** Sets the program's features for one test and puts the table back afterwards; warnings are
    collected instead of printed. */
class CapabilitiesScope
{
public:
    explicit CapabilitiesScope(bool surround, bool sixChannelsMax = false)
    {
        FCapabilities* table = FCapabilities::instance();
        table->clear();
        if (surround)
            table->setValue(ASpeakerArrangement::kSurroundCapability, 1);
        if (sixChannelsMax)
            table->setValue(ASpeakerArrangement::kSixChannelsMaxCapability, 1);
        table->setWarningHandler([this](const char8*, const char8* text)
                                 { warnings.emplace_back(text); });
    }
    ~CapabilitiesScope()
    {
        FCapabilities::instance()->clear();
        FCapabilities::instance()->setWarningHandler(nullptr);
    }
    CapabilitiesScope(const CapabilitiesScope&) = delete;
    CapabilitiesScope& operator=(const CapabilitiesScope&) = delete;

    std::vector<std::string> warnings;
};

} // namespace Quillmark::testing
