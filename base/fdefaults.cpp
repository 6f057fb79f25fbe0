#include "base/fdefaults.h"

#include "base/fstreams.h"
#include "base/platform/atomicfile.h"

#include <cerrno>
#include <cstring>

namespace Quillmark
{

namespace
{

constexpr const char8* kGroupClass = "FDefaults";
constexpr const char8* kGroupKey = "Group";
constexpr const char8* kVersionKey = "Version";
constexpr const char8* kValuesKey = "Values";

enum class FileState
{
    kMissing,
    kGood,
    kDamaged,
};

/** Reads the document at `path`; on damage `document` keeps what was complete. */
FileState readDocument(const std::string& path, FAttributes& document, std::string& reason)
{
    document.clear();
    FFileStream* stream = FFileStream::open(path.c_str(), "rb");
    if (!stream)
    {
        int code = errno;
        if (code == ENOENT)
            return FileState::kMissing;
        reason = std::string("cannot open (") + std::strerror(code) + ")";
        return FileState::kDamaged;
    }
    bool ok = document.readXml(stream, &reason);
    stream->release();
    return ok ? FileState::kGood : FileState::kDamaged;
}

std::string fileNameOf(const std::string& path)
{
    size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

bool sameText(const ConstString& a, const ConstString& b)
{
    return a.isWide() == b.isWide() && a == b;
}

} // namespace

// --- FDefaults ----------------------------------------------------------------------------

FDefaults::FDefaults(const ConstString& name, int32 version, FDefaultPool* pool)
    : name(name), version(version), values(new FAttrList), pool(pool)
{
}

FDefaults::~FDefaults()
{
    values->release();
}

void FDefaults::markDirty()
{
    if (pool)
        pool->dirty = true;
}

void FDefaults::adoptValues(FAttrList* list)
{
    if (!list)
        return;
    list->addRef();
    values->release();
    values = list;
}

bool FDefaults::contains(const char8* key) const
{
    return values->contains(key);
}

bool FDefaults::getInt(const char8* key, int64& value) const
{
    return values->getInt(key, value);
}

void FDefaults::setInt(const char8* key, int64 value)
{
    int64 old = 0;
    if (values->getInt(key, old) && old == value)
        return;
    values->setInt(key, value);
    markDirty();
}

bool FDefaults::getFloat(const char8* key, double& value) const
{
    return values->getFloat(key, value);
}

void FDefaults::setFloat(const char8* key, double value)
{
    double old = 0;
    if (values->getType(key) == FAttrType::kFloat && values->getFloat(key, old) &&
        std::memcmp(&old, &value, sizeof old) == 0)
        return;
    values->setFloat(key, value);
    markDirty();
}

bool FDefaults::getString(const char8* key, String& value) const
{
    return values->getString(key, value);
}

bool FDefaults::getAttributes(const char8* key, FAttributes& value) const
{
    FAttrList* list = values->getList(key);
    if (!list)
        return false;
    value.copyFrom(*list);
    return true;
}

void FDefaults::setAttributes(const char8* key, const FAttributes& value)
{
    FAttrList* list = values->getList(key);
    if (list && list->isEqual(&value))
        return;
    if (!list)
        list = values->setList(key);
    list->copyFrom(value);
    markDirty();
}

void FDefaults::setString(const char8* key, const ConstString& value)
{
    String old;
    if (values->getString(key, old) && sameText(old, value))
        return;
    values->setString(key, value);
    markDirty();
}

bool FDefaults::getFUID(const char8* key, FUID& value) const
{
    String text;
    if (!values->getString(key, text))
        return false;
    return value.fromString(text.toUtf8().c_str());
}

void FDefaults::setFUID(const char8* key, const FUID& value)
{
    setString(key, String(value.toString()));
}

bool FDefaults::remove(const char8* key)
{
    if (!values->remove(key))
        return false;
    markDirty();
    return true;
}

void FDefaults::clear()
{
    if (values->count() == 0)
        return;
    values->clear();
    markDirty();
}

int32 FDefaults::countValues() const
{
    return values->count();
}

const char8* FDefaults::keyAt(int32 index) const
{
    return values->nameAt(index);
}

// --- FDefaultPool -------------------------------------------------------------------------

FDefaultPool::FDefaultPool(const std::string& filePath) : filePath(filePath) {}

FDefaultPool::~FDefaultPool()
{
    releaseGroups();
}

void FDefaultPool::releaseGroups()
{
    std::vector<FDefaults*> old;
    old.swap(groups);
    for (FDefaults* group : old)
    {
        group->pool = nullptr; // someone may hold a reference of its own
        group->release();
    }
}

int32 FDefaultPool::indexOf(const char8* group) const
{
    ConstString wanted(group);
    for (size_t i = 0; i < groups.size(); ++i)
    {
        if (groups[i]->getName() == wanted)
            return int32(i);
    }
    return -1;
}

FDefaults* FDefaultPool::lookup(const char8* group, int32 version, bool create)
{
    int32 index = indexOf(group);
    if (index >= 0 && groups[size_t(index)]->getVersion() == version)
        return groups[size_t(index)];
    if (!create)
        return nullptr;
    auto* fresh = new FDefaults(group, version, this);
    if (index >= 0)
    {
        // Values of another version are not understood by whoever asks now.
        FDefaults* old = groups[size_t(index)];
        old->pool = nullptr;
        old->release();
        groups[size_t(index)] = fresh;
    }
    else
        groups.push_back(fresh);
    dirty = true;
    return fresh;
}

bool FDefaultPool::removeGroup(const char8* group)
{
    int32 index = indexOf(group);
    if (index < 0)
        return false;
    FDefaults* old = groups[size_t(index)];
    groups.erase(groups.begin() + index);
    old->pool = nullptr;
    old->release();
    dirty = true;
    return true;
}

FDefaults* FDefaultPool::groupAt(int32 index) const
{
    return index >= 0 && index < countGroups() ? groups[size_t(index)] : nullptr;
}

int32 FDefaultPool::takeGroups(const FAttributes& document)
{
    int32 taken = 0;
    for (int32 i = 0; i < document.count(); ++i)
    {
        if (document.typeAt(i) != FAttrType::kObject)
            continue;
        auto* instance = FCast<FXmlInstance>(document.getObject(document.nameAt(i)));
        if (!instance || std::strcmp(instance->getXmlClass(), kGroupClass) != 0)
            continue;
        const FAttrList& stored = instance->getAttributes();
        String groupName;
        if (!stored.getString(kGroupKey, groupName))
            groupName = document.nameAt(i);
        std::string key = groupName.toUtf8();
        if (indexOf(key.c_str()) >= 0)
            continue; // the first of two equal names wins
        int64 version = 1;
        stored.getInt(kVersionKey, version);
        auto* group = new FDefaults(String(key), int32(version), this);
        group->adoptValues(stored.getList(kValuesKey));
        groups.push_back(group);
        ++taken;
    }
    return taken;
}

bool FDefaultPool::load(std::string* problem)
{
    releaseGroups();
    dirty = false;
    fileDamaged = false;
    if (problem)
        problem->clear();

    FAttributes document;
    std::string reason;
    FileState state = readDocument(filePath, document, reason);
    if (state == FileState::kMissing)
        return true;
    int32 recovered = takeGroups(document);
    if (state == FileState::kGood)
        return true;

    // Damaged: what was complete is kept; the alternate copy fills in the rest.
    fileDamaged = true;
    dirty = true;
    std::string message = fileNameOf(filePath) + ": " + reason + "; recovered " +
                          std::to_string(recovered) + (recovered == 1 ? " group" : " groups");
    std::string alternateReason;
    FileState alternate = readDocument(getAlternatePath(), document, alternateReason);
    if (alternate == FileState::kMissing)
    {
        message += ", no alternate copy";
    }
    else
    {
        int32 added = takeGroups(document);
        if (alternate == FileState::kGood)
            message += ", alternate copy used";
        else
            message += ", alternate copy damaged too (" + alternateReason + ")";
        if (added > 0)
            message +=
                " for " + std::to_string(added) + (added == 1 ? " more group" : " more groups");
    }
    if (problem)
        *problem = message;
    return false;
}

bool FDefaultPool::save(std::string* problem)
{
    if (problem)
        problem->clear();
    if (doNotSave)
        return true;

    FAttributes document;
    for (FDefaults* group : groups)
    {
        auto* instance = new FXmlInstance(kGroupClass);
        FAttrList& stored = instance->getAttributes();
        stored.setString(kGroupKey, group->getName());
        stored.setInt(kVersionKey, group->getVersion());
        stored.setList(kValuesKey, group->values);
        document.setObject(group->getName().toUtf8().c_str(), instance);
        instance->release();
    }
    FMemoryStream memory;
    if (!document.writeXml(&memory))
    {
        if (problem)
            *problem = fileNameOf(filePath) + ": the settings could not be written";
        return false;
    }

    // Only a file that reads back whole may become the alternate copy; a damaged one would
    // push out the copy that the next damaged load needs.
    std::string keepAs;
    if (!fileDamaged)
    {
        FAttributes current;
        std::string ignored;
        if (readDocument(filePath, current, ignored) == FileState::kGood)
            keepAs = getAlternatePath();
    }
    std::string error;
    if (!platform::writeFileAtomically(filePath, memory.data(), size_t(memory.size()), &error,
                                       keepAs))
    {
        if (problem)
            *problem = fileNameOf(filePath) + ": " + error;
        return false;
    }
    dirty = false;
    fileDamaged = false;
    return true;
}

} // namespace Quillmark
