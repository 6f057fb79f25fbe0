// libjack prints every failed attempt to reach a server on stderr. The JACK drivers try again
// and again while a server is away and say themselves what failed, so they switch the
// library's own words off, once for the process, before their first client opens.
#pragma once

#include <jack/jack.h>

namespace Quillmark
{

inline void quietJackLibrary()
{
    [[maybe_unused]] static const bool quiet = []
    {
        jack_set_error_function([](const char*) {});
        jack_set_info_function([](const char*) {});
        return true;
    }();
}

} // namespace Quillmark
