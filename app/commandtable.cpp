#include "app/commandtable.h"

#include "base/platform/clock.h"

#include <algorithm>
#include <cstring>

namespace Quillmark
{

namespace
{

bool lessThan(const CommandTable::Command& command, const std::string& category,
              const std::string& name)
{
    int byCategory = command.category.compare(category);
    return byCategory != 0 ? byCategory < 0 : command.name.compare(name) < 0;
}

} // namespace

CommandTable::CommandTable(Clock clock) : clock(std::move(clock))
{
    if (!this->clock)
        this->clock = [] { return platform::nanoseconds() / 1000000; };
}

void CommandTable::add(Command command)
{
    auto at = std::lower_bound(commands.begin(), commands.end(), command,
                               [](const Command& entry, const Command& wanted)
                               { return lessThan(entry, wanted.category, wanted.name); });
    if (at != commands.end() && at->category == command.category && at->name == command.name)
        *at = std::move(command);
    else
        commands.insert(at, std::move(command));
}

const CommandTable::Command* CommandTable::find(const std::string& category,
                                                const std::string& name) const
{
    auto at = std::lower_bound(commands.begin(), commands.end(), 0,
                               [&](const Command& entry, int)
                               { return lessThan(entry, category, name); });
    if (at != commands.end() && at->category == category && at->name == name)
        return &*at;
    return nullptr;
}

bool CommandTable::canInterpret(const std::string& category, const std::string& name) const
{
    return find(category, name) != nullptr;
}

bool CommandTable::isEnabled(const std::string& category, const std::string& name) const
{
    const Command* command = find(category, name);
    return command && (!command->enabled || command->enabled());
}

bool CommandTable::interpret(const std::string& category, const std::string& name)
{
    const Command* command = find(category, name);
    if (!command || (command->enabled && !command->enabled()))
        return false;
    if (command->debounced && lastCommandTime >= 0 && clock() - lastCommandTime < kDebounceMs)
        return true; // a repeat that follows too closely is swallowed
    // A copy: the action may change the table.
    Action action = command->action;
    bool debounced = command->debounced;
    bool handled = action ? action() : true;
    // Taken after the run, so the time a dialog stays open does not count.
    if (debounced)
        lastCommandTime = clock();
    return handled;
}

bool CommandTable::interpretCommand(const char8* request, const char8* category, const char8* name)
{
    if (!request || !category || !name)
        return false;
    if (std::strcmp(request, kInterpret) == 0)
        return interpret(category, name);
    if (std::strcmp(request, kCanInterpret) == 0)
        return canInterpret(category, name);
    return false;
}

} // namespace Quillmark
