#include "operations.h"

#include "scheduling/project_task.h"

#include <random>

namespace corveth::bench {

namespace {

/// The tasks that a turn saves, and how much of each is done by then.
class Work {
public:
    struct Piece {
        std::string id;
        float done;
    };

    explicit Work(int count) : pieces_(static_cast<std::size_t>(count)) {}

    void draw() {
        constexpr int quarters = 31; // always below the eight hours that are planned
        const float done = 0.25F * static_cast<float>(++turn_ % quarters);
        for (Piece& piece : pieces_)
            piece = {RawTasks::taskId(among_(random_)), done};
    }
    [[nodiscard]] const std::vector<Piece>& pieces() const noexcept { return pieces_; }

private:
    std::mt19937 random_{11}; // NOLINT(cert-msc51-cpp): the same on both sides
    std::uniform_int_distribution<int> among_{0, RawTasks::tasks - 1};
    std::vector<Piece> pieces_;
    int turn_ = 0;
};

/// The tasks are loaded and changed before the time is taken; what is measured is that they are saved.
struct Loaded {
    explicit Loaded(int count) : work(count) {}
    void draw() {
        work.draw();
        tasks.clear();
        for (const auto& [id, done] : work.pieces()) {
            const auto& task = tasks.emplace_back(make<ProjectTask>());
            task->ID = id;
            task->Populate();
            task->let_ActualWorked(done);
        }
    }

    Work work;
    std::vector<Ref<ProjectTask>> tasks;
};

Pair saves(World& world, int count, bool isInTransaction) {
    auto ours = std::make_shared<Loaded>(count);
    auto raw = std::make_shared<Work>(count);
    return {count,
            {[=] { ours->draw(); },
             [=, &world] {
                 if (isInTransaction) world.connection().BeginTrans();
                 for (const auto& task : ours->tasks)
                     task->Update();
                 if (isInTransaction) world.connection().CommitTrans();
                 return ours->tasks.size();
             }},
            {[=] { raw->draw(); },
             [=, &world] {
                 RawTasks& tasks = world.rawTasks();
                 if (isInTransaction) tasks.begin();
                 for (const auto& [id, done] : raw->pieces())
                     tasks.save(id, done, isInTransaction);
                 if (isInTransaction) tasks.commit();
                 return raw->pieces().size();
             }}};
}

} // namespace

/// The row by itself, then those above it in a transaction.
Pair saveTask(World& world) {
    constexpr int count = 10;
    return saves(world, count, false);
}

Pair saveTasksInTransaction(World& world) {
    constexpr int count = 50;
    return saves(world, count, true);
}

} // namespace corveth::bench
