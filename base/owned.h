// Holds the creator's reference of a reference-counted host object and releases it when the
// holder goes, so that early returns cannot leak what a job or a generator made.
#pragma once

#include "base/fobject.h"

#include <memory>

namespace Quillmark
{

struct ReleaseObject
{
    void operator()(FObject* object) const
    {
        if (object)
            object->release();
    }
};

template <class T> using Owned = std::unique_ptr<T, ReleaseObject>;

} // namespace Quillmark
