// The program's table of feature values: which optional abilities this build of the program has
// ("SURROUND", ...). A key is off when it is absent or zero. Also shows a warning once per key
// when a document asks for more than the program offers. One singleton, created on first use.
#pragma once

#include "base/flock.h"
#include "base/fobject.h"

#include <functional>
#include <map>
#include <set>
#include <string>

namespace Quillmark
{

class FCapabilities : public FObject
{
    QEL_DECLARE_CLASS(FCapabilities, FObject)
public:
    /** Receives the key and the text of a warning. */
    using WarningHandler = std::function<void(const char8* key, const char8* text)>;

    /** The singleton, created on first use; null once the process is shutting down. */
    static FCapabilities* instance();

    void setValue(const char8* key, int64 value);
    void removeValue(const char8* key);
    /** The value of `key`, 0 when it is absent. */
    int64 getValue(const char8* key) const;
    /** True when `key` is present with a value other than zero. */
    bool isOn(const char8* key) const { return getValue(key) != 0; }

    /** Shows `text` through the warning handler the first time it is asked for `key`; later
        calls for the same key show nothing. Answers whether the text was shown. */
    bool warnOnce(const char8* key, const char8* text);
    /** A null handler restores the default one, which writes the text to stderr. */
    void setWarningHandler(WarningHandler handler);

    /** Forgets every value and which keys have warned; the handler stays. */
    void clear();

private:
    template <class T> friend T* singletonInstance();
    FCapabilities() = default;

    mutable FLock lock{"FCapabilities"};
    std::map<std::string, int64> values;
    std::set<std::string> warned;
    WarningHandler handler;
};

} // namespace Quillmark
