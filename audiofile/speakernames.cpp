#include "audiofile/namedarrangements.h"
#include "audiofile/speakertable.h"

#include "base/fobject.h"
#include "base/singleton.h"

#include <vector>

namespace Quillmark
{

/** The displayed names of speakers and named arrangements once the program is localised;
    before that the untranslated names are shown. A singleton, filled at start-up. */
class ASpeakerNames : public FObject
{
    QEL_DECLARE_CLASS(ASpeakerNames, FObject)
public:
    static ASpeakerNames* instance() { return singletonInstance<ASpeakerNames>(); }

    void localize(const ATranslationLookup& translate)
    {
        // Always from the untranslated names, so a second call does not translate twice.
        std::vector<String> speakers;
        speakers.resize(size_t(getSpeakerTableSize()));
        for (int32 i = 0; i < getSpeakerTableSize(); ++i)
            speakers[size_t(i)] = displayText(translate(getSpeakerInfo(i)->longName));
        std::vector<String> arrangements;
        arrangements.resize(size_t(kArrangementTypeCount));
        for (int32 type = 0; type < kArrangementTypeCount; ++type)
            if (const char8* name = getNamedArrangement(type)->name)
                arrangements[size_t(type)] = displayText(translate(name));
        speakerNames.swap(speakers);
        arrangementNames.swap(arrangements);
    }

    /** The translated long name of the row at `index`, or null before localisation. */
    const char8* speakerName(int32 index) const
    {
        return size_t(index) < speakerNames.size() ? speakerNames[size_t(index)].text8() : nullptr;
    }
    /** The translated name of `type`, or null before localisation. */
    const char8* arrangementName(int32 type) const
    {
        return size_t(type) < arrangementNames.size() ? arrangementNames[size_t(type)].text8()
                                                      : nullptr;
    }

private:
    /** Names are handed out as UTF-8; the lookup may give 16-bit texts. */
    static String displayText(String text)
    {
        text.toMultiByte();
        return text;
    }

    template <class T> friend T* singletonInstance();
    ASpeakerNames() = default;

    std::vector<String> speakerNames;
    std::vector<String> arrangementNames;
};

void localizeSpeakerNames(const ATranslationLookup& translate)
{
    if (!translate)
        return;
    if (ASpeakerNames* names = ASpeakerNames::instance())
        names->localize(translate);
}

const char8* getSpeakerName(int32 id)
{
    for (int32 i = 0; i < getSpeakerTableSize(); ++i)
    {
        const ASpeakerInfo* row = getSpeakerInfo(i);
        if (row->id != id)
            continue;
        ASpeakerNames* names = ASpeakerNames::instance();
        const char8* translated = names ? names->speakerName(i) : nullptr;
        return translated ? translated : row->longName;
    }
    return nullptr;
}

const char8* getArrangementName(int32 type)
{
    // Compared unsigned so that a negative type is out of range too.
    if (uint32(type) >= uint32(kArrangementTypeCount))
        return nullptr;
    const char8* name = getNamedArrangement(type)->name;
    if (!name)
        return nullptr;
    ASpeakerNames* names = ASpeakerNames::instance();
    const char8* translated = names ? names->arrangementName(type) : nullptr;
    return translated ? translated : name;
}

} // namespace Quillmark
