// The application's commands by category and name: "Interpret" runs one, "CanInterpret" only
// answers whether it exists. Commands marked debounced are dropped when they follow the last
// debounced one too closely. Owned by the application; serves as the main loop's command handler.
#pragma once

#include "base/fmainloop.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Quillmark
{

class CommandTable : public ICommandHandler
{
public:
    /** Milliseconds of a monotonic clock. */
    using Clock = std::function<int64_t()>;
    /** Runs the command; true means handled. */
    using Action = std::function<bool()>;

    struct Command
    {
        Command() = default;
        Command(std::string category, std::string name, std::function<std::string()> menuText,
                bool debounced, Action action, std::function<bool()> enabled = {})
            : category(std::move(category)), name(std::move(name)), menuText(std::move(menuText)),
              debounced(debounced), action(std::move(action)), enabled(std::move(enabled))
        {
        }

        std::string category;
        std::string name;
        /** The menu text; empty for commands without a menu item. A function, since some
            texts follow a state. */
        std::function<std::string()> menuText;
        bool debounced = false;
        Action action;
        /** Whether the command can run now; empty: always. A disabled command answers not
            handled to "Interpret" and shows a disabled menu item, but it still exists. */
        std::function<bool()> enabled;
    };

    static constexpr int64_t kDebounceMs = 250;

    /** Without a clock the monotonic clock of the platform is used. */
    explicit CommandTable(Clock clock = {});

    /** Adds a command; one with the same category and name replaces it. */
    void add(Command command);
    /** Category first, then name, both case-sensitive. Null when unknown. */
    const Command* find(const std::string& category, const std::string& name) const;
    int32 count() const { return int32(commands.size()); }
    /** Every command, sorted by category, then name. */
    const std::vector<Command>& getCommands() const { return commands; }

    bool interpret(const std::string& category, const std::string& name);
    bool canInterpret(const std::string& category, const std::string& name) const;
    /** False for an unknown command and for one whose target is missing now. */
    bool isEnabled(const std::string& category, const std::string& name) const;
    bool interpretCommand(const char8* request, const char8* category, const char8* name) override;

    /** When the last debounced command finished; -1 before the first. */
    int64_t getLastCommandTime() const { return lastCommandTime; }

private:
    std::vector<Command> commands; // sorted by category, then name
    Clock clock;
    int64_t lastCommandTime = -1;
};

} // namespace Quillmark
