#include "operations.h"

#include "session/notes.h"

#include <fmt/format.h>
#include <random>
#include <stdexcept>

namespace corveth::bench {

namespace {

constexpr int hotSet = 500;

/// Numbers that both sides draw alike.
class Draw {
public:
    explicit Draw(int end) : among_(0, end - 1) {}
    int operator()() { return among_(random_); }

private:
    std::mt19937 random_{7}; // NOLINT(cert-msc51-cpp): the same on both sides
    std::uniform_int_distribution<int> among_;
};

/// The keys that a turn is about, made before it is measured.
class Keys {
public:
    Keys(int count, int end) : draw_(end), keys_(static_cast<std::size_t>(count)) {}
    void draw() {
        for (auto& key : keys_)
            key = World::noteId(draw_());
    }
    [[nodiscard]] const std::vector<std::string>& all() const noexcept { return keys_; }

private:
    Draw draw_;
    std::vector<std::string> keys_;
};

std::size_t loadOurs(const std::vector<std::string>& keys) {
    std::size_t bytes = 0;
    for (const auto& key : keys) {
        const auto note = make<Note>();
        note->let_ID(key);
        note->Populate();
        bytes += note->Title.size() + note->get_Note().size() + note->LinkId.size();
    }
    return bytes;
}

std::size_t loadRaw(RawNotes& notes, const std::vector<std::string>& keys) {
    std::size_t bytes = 0;
    for (const auto& key : keys) {
        RawNote note;
        if (!notes.load(key, note)) throw std::runtime_error("no note " + key);
        bytes += note.bytes();
    }
    return bytes;
}

/// Texts that differ from one save to the next.
struct Texts {
    std::string title, note;
    explicit Texts(int number)
        : title(fmt::format("Call back, {}", number)),
          note(fmt::format("Wants a quote by Friday and asked for the price list of the year, note number {}",
                           number)) {}
    [[nodiscard]] std::size_t bytes() const { return title.size() + note.size(); }
};

/// With an empty key a new note.
std::size_t saveOurs(const std::string& key, const std::string& link, const Texts& texts) {
    const auto note = make<Note>();
    note->let_ID(key);
    note->LinkId = link;
    note->Title = texts.title;
    note->let_Note(texts.note);
    note->Update();
    return texts.bytes();
}

std::size_t saveRaw(RawNotes& notes, const std::string& key, const std::string& link, const Texts& texts) {
    RawNote note;
    note.id = key;
    note.linkId = link;
    note.linkType = "Contact";
    note.title = texts.title;
    note.note = texts.note;
    notes.save(note);
    return texts.bytes();
}

/// What both sides save in one turn.
struct Batch {
    int from = 0, count;
    bool isNew, isInTransaction;
    Draw draw;
    std::vector<int> rows;
    std::vector<Texts> texts;

    void prepare() {
        rows.clear();
        texts.clear();
        for (int i = 0; i < count; ++i) {
            rows.push_back(draw());
            texts.emplace_back(from++);
        }
    }
};

template <class Save>
std::size_t saveAll(const World& world, const Batch& batch, Save&& save) {
    std::size_t bytes = 0;
    for (std::size_t i = 0; i < batch.texts.size(); ++i) {
        const int row = batch.rows[i];
        bytes += save(batch.isNew ? std::string() : World::noteId(row), World::linkId(row % world.linkCount()),
                      batch.texts[i]);
    }
    return bytes;
}

Pair saves(World& world, int count, bool isNew, bool isInTransaction) {
    // What one operation wrote is nothing that another finds there already.
    constexpr int beyondOthers = 100'000'000;
    const Batch batch{isInTransaction ? beyondOthers : 0, count, isNew, isInTransaction,
                      Draw(world.size().notes),           {},    {}};
    auto ours = std::make_shared<Batch>(batch), raw = std::make_shared<Batch>(batch);
    return {count,
            {[=, &world] {
                 // What a turn added goes before the next one, so that the table stays as large as it was.
                 if (isNew) world.dropNewNotes(Who::ours);
                 ours->prepare();
             },
             [=, &world] {
                 if (isInTransaction) world.connection().BeginTrans();
                 const std::size_t bytes = saveAll(world, *ours, &saveOurs);
                 if (isInTransaction) world.connection().CommitTrans();
                 return bytes;
             }},
            {[=, &world] {
                 if (isNew) world.dropNewNotes(Who::raw);
                 raw->prepare();
             },
             [=, &world] {
                 RawNotes& notes = world.rawNotes();
                 if (isInTransaction) notes.begin();
                 const std::size_t bytes =
                     saveAll(world, *raw, [&](const auto&... arguments) { return saveRaw(notes, arguments...); });
                 if (isInTransaction) notes.commit();
                 return bytes;
             }}};
}

constexpr int autocommitted = 20, inOneTransaction = 1000;

} // namespace

/// Keys from the whole table, an engine's page cache in this process empty at the beginning; each load is a read
/// transaction of its own.
Pair loadCold(World& world) {
    constexpr int count = 500;
    auto ours = std::make_shared<Keys>(count, world.size().notes);
    auto raw = std::make_shared<Keys>(count, world.size().notes);
    // The pages are given up when the next read finds the database changed.
    return {count,
            {[=, &world] {
                 world.emptyPageCaches();
                 loadOurs({World::noteId(0)});
                 ours->draw();
             },
             [=] { return loadOurs(ours->all()); }},
            {[=, &world] {
                 world.emptyPageCaches();
                 loadRaw(world.rawNotes(), {World::noteId(0)});
                 raw->draw();
             },
             [=, &world] { return loadRaw(world.rawNotes(), raw->all()); }}};
}

Pair loadHot(World& world) {
    constexpr int count = 4 * hotSet;
    auto ours = std::make_shared<Keys>(count, std::min(hotSet, world.size().notes));
    auto raw = std::make_shared<Keys>(count, std::min(hotSet, world.size().notes));
    return {count,
            {[=] { ours->draw(); },
             [=, &world] {
                 world.connection().BeginTrans();
                 const std::size_t bytes = loadOurs(ours->all());
                 world.connection().CommitTrans();
                 return bytes;
             }},
            {[=] { raw->draw(); },
             [=, &world] {
                 world.rawNotes().begin();
                 const std::size_t bytes = loadRaw(world.rawNotes(), raw->all());
                 world.rawNotes().commit();
                 return bytes;
             }}};
}

Pair saveNew(World& world) {
    return saves(world, autocommitted, true, false);
}

Pair saveNewInTransaction(World& world) {
    return saves(world, inOneTransaction, true, true);
}

Pair saveExisting(World& world) {
    return saves(world, autocommitted, false, false);
}

Pair saveExistingInTransaction(World& world) {
    return saves(world, inOneTransaction, false, true);
}

Pair listOfLink(World& world) {
    constexpr int count = 5;
    auto ours = std::make_shared<Draw>(world.linkCount()), raw = std::make_shared<Draw>(world.linkCount());
    return {count,
            {{},
             [=, &world] {
                 std::size_t bytes = 0;
                 for (int i = 0; i < count; ++i) {
                     const auto notes = make<Notes>();
                     notes->SetLinkFilter(World::linkId((*ours)()));
                     notes->Populate();
                     bytes += static_cast<std::size_t>(notes->get_Count()) + notes->get_Item(1)->Title.size();
                 }
                 return bytes;
             }},
            {{}, [=, &world] {
                 std::size_t bytes = 0;
                 for (int i = 0; i < count; ++i) {
                     const auto notes = world.rawNotes().list(World::linkId((*raw)()));
                     bytes += notes.size() + notes.front().title.size();
                 }
                 return bytes;
             }}};
}

} // namespace corveth::bench
