// A process that is killed while it saves leaves a database that opens and holds all that it was told is saved.

#include "faults/child.h"
#include "faults/records.h"
#include "session/failure.h"
#include "support/temporary_database.h"

#include <gmock/gmock.h>

#include <random>
#include <sstream>
#include <thread>

namespace corveth::test {
namespace {

using Versions = std::map<Text, Text>; ///< of records by name; an empty one is deleted

/// One operation: all of it happens or nothing.
Text lineOf(const char* word, const Versions& changes) {
    Text line = word;
    for (const auto& [name, version] : changes)
        line += " " + name + " " + (version.empty() ? "-" : version);
    return line;
}

/// Says what it is about to save, saves it and says that it is saved; without end unless `count` says how often.
void saveOnAndOn(const Text& database, const Text& prefix, int count, const Child::Report& report) {
    share(database);
    Text note, contact;
    const auto operation = [&](const Versions& changes, const auto& action) {
        report(lineOf("saving", changes));
        action();
        report(lineOf("saved", changes));
    };
    for (int i = 0; i != count; ++i) {
        const int round = i / 6;
        const Text number = std::to_string(round);
        const Text first = prefix + "note" + number, second = prefix + "contact" + number;
        const Text pairNote = prefix + "pairnote" + number, pairContact = prefix + "paircontact" + number;
        switch (i % 6) {
        case 0:
            operation({{first, "a"}}, [&] { note = saveNote(first, "a"); });
            break;
        case 1:
            operation({{second, "a"}}, [&] { contact = saveContact(second, "a"); });
            break;
        case 2:
            operation({{first, "b"}}, [&] { saveNote(first, "b", note); });
            break;
        case 3:
            operation({{pairNote, "a"}, {pairContact, "a"}}, [&] {
                inTransaction(true, [&] {
                    saveNote(pairNote, "a");
                    saveContact(pairContact, "a");
                });
            });
            break;
        case 4:
            operation({{second, "b"}}, [&] { saveContact(second, "b", contact); });
            break;
        default:
            if (round % 2 == 0) break;
            operation({{second, {}}}, [&] {
                const auto leaving = make<Contact>();
                leaving->let_ID(contact);
                leaving->DeleteContact(true);
            });
        }
    }
}

/// What a process said: what is certain, and what it was at when it was killed.
struct Told {
    Versions saved, saving;

    void take(const Text& line) {
        std::istringstream words(line);
        Text word, name, version;
        words >> word;
        Versions changes;
        while (words >> name >> version)
            changes[name] = version == "-" ? Text() : version;
        if (word == "saving") {
            saving = changes;
        } else if (word == "saved") {
            saving.clear();
            for (const auto& [changed, to] : changes)
                saved[changed] = to;
        } else {
            ADD_FAILURE() << line;
        }
    }
    void takeAll(Child& child) {
        for (Text line; child.readLine(line);)
            take(line);
    }
};

Versions changed(Versions versions, const Versions& changes) {
    for (const auto& [name, version] : changes)
        versions[name] = version;
    std::erase_if(versions, [](const auto& pair) { return pair.second.empty(); });
    return versions;
}

class Killed : public testing::TestWithParam<Engine> {};

TEST_P(Killed, AtAnyMomentNothingSavedIsLostAndNothingIsHalfThere) {
    constexpr int kills = 40;
    const auto place = GetParam().make(true);
    const Text database = place->connectionString() + ";Default Timeout=30";
    std::mt19937 random(7); // NOLINT: the moments differ from run to run in any case
    Versions stored;
    std::size_t unfinished = 0;
    for (int kill = 0; kill < kills && !testing::Test::HasFailure(); ++kill) {
        SCOPED_TRACE(kill);
        const Text prefix = "k" + std::to_string(kill);
        Child victim([&](const auto& report) { saveOnAndOn(database, prefix, -1, report); });
        // Every other time another process saves meanwhile, and must notice nothing.
        std::optional<Child> bystander;
        if (kill % 2 == 0) {
            bystander.emplace([&](const auto& report) { saveOnAndOn(database, prefix + "other", 12, report); });
        }
        Told victimTold, bystanderTold;
        Text line;
        for (auto lines = random() % 20; lines > 0 && victim.readLine(line); --lines)
            victimTold.take(line);
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 4000));
        victim.kill();
        EXPECT_EQ(victim.wait(), -1);
        victimTold.takeAll(victim);
        if (bystander) {
            bystanderTold.takeAll(*bystander);
            EXPECT_EQ(bystander->wait(), 0);
            EXPECT_EQ(bystanderTold.saving, Versions());
        }

        place->settle();
        const auto connection = share(database);
        const Versions found = storedVersions(connection);
        const Versions certain = changed(changed(stored, bystanderTold.saved), victimTold.saved);
        EXPECT_THAT(found, testing::AnyOf(certain, changed(certain, victimTold.saving)));
        EXPECT_EQ(soundness(connection), "ok");
        if (!victimTold.saving.empty()) ++unfinished;
        stored = found;
        saveNote(prefix + "after", "a");
        stored[prefix + "after"] = "a";
        closeShared();
    }
    // Otherwise the moments were badly chosen.
    EXPECT_GE(unfinished, kills / 4U);
}

CORVETH_ON_EVERY_ENGINE(Killed);

} // namespace
} // namespace corveth::test
