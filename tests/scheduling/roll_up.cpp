#include "scheduling/roll_up.h"

#include "platform/automation/convert.h"
#include "support/fixture.h"

#include <algorithm>
#include <clocale>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gmock/gmock.h>
#include <random>

namespace corveth {
namespace {

using ::testing::ElementsAre;

// 39125 is a Monday. The calendar is that of a new database: eight hours from Monday to Friday.

class RollUpTest : public test::DatabaseTest {
protected:
    /// A task of one day and eight hours; `changes` are assignments that make something else of it.
    void task(const Text& id, const Text& parentId, const Text& changes = {}) {
        connection->execute(
            "Insert Into Projects (Id, ParentID, ProjectId, PlnStartDate, PlnFinishDate, PlnDuration, PlnWork, Users, "
            "RemainingWork, ActDuration, ActWorkDuration, PercCompleted, ExptOverrun, ItemType, Finished) Values ('" +
            id + "', '" + parentId + "', 'PT1', 39125, 39125, 8, 8, 1, 8, 0, 0, 0, 0, 2, False)");
        if (!changes.empty()) connection->execute("Update Projects Set " + changes + " Where Id='" + id + "'");
    }
    /// The project PT1 with a task of its own and the group PT2, which has two.
    void projectWith(const Text& changesOfOne, const Text& changesOfOther) {
        connection->BeginTrans();
        connection->execute("Delete From Projects");
        task("PT1", "PT1", "ItemType=0");
        task("PT2", "PT1", "ItemType=1");
        task("PT3", "PT1");
        task("PT4", "PT2", changesOfOne);
        task("PT5", "PT2", changesOfOther);
        connection->CommitTrans();
    }
    /// Planned start, finish and earliest start; duration, work, resources; actual duration, remaining and actual work,
    /// percentage, overrun; actual start and finish; finished. Null as `-`.
    Text figures(const Text& id) {
        const auto rows = make<Recordset>();
        rows->open("Select PlnStartDate, PlnFinishDate, EarliestStartDate, PlnDuration, PlnWork, Users, ActDuration, "
                   "RemainingWork, ActWorkDuration, PercCompleted, ExptOverrun, ActStartDate, ActFinishDate, Finished "
                   "From Projects Where Id='" +
                       id + "'",
                   connection, CursorType::staticCopy, LockType::readOnly);
        std::vector<Text> values;
        for (const Value& value : rows->cells())
            values.push_back(value.isNull() ? "-" : toText(value));
        return fmt::format("{}", fmt::join(values, " "));
    }
    /// What was sent since the last call; what reads the calendar is one entry.
    std::vector<Text> walk() {
        std::vector<Text> sent = statements();
        for (Text& statement : sent) {
            if (statement.find(" WorkingHours ") != Text::npos || statement.find(" Holidays ") != Text::npos)
                statement = "calendar";
        }
        sent.erase(std::unique(sent.begin(), sent.end()), sent.end());
        return sent;
    }
};

TEST_P(RollUpTest, AGroupIsTheSumOfItsTasks) {
    const struct {
        const char *name, *one, *other, *group;
    } rows[] = {
        {"as planned", "", "", "39125 39125 - 8 16 2 0 16 0 0 0 - - False"},
        {"under way, one over its plan", "ActWorkDuration=4, RemainingWork=4",
         "ActWorkDuration=12, RemainingWork=0, ExptOverrun=4", "39125 39125 - 8 16 2 0 4 16 75 4 - - False"},
        {"the span of the dates, the longest duration",
         "PlnFinishDate=39126, EarliestStartDate=39120, ActStartDate=39126, ActFinishDate=39127, ActDuration=16",
         "PlnStartDate=39129, PlnFinishDate=39132, ActStartDate=39125, ActDuration=4.5",
         "39125 39132 39120 48 16 2 16 16 0 0 0 39125 39127 False"},
        {"times of day: the last day counts from its own", "PlnStartDate=39125.375", "PlnFinishDate=39126.75",
         "39125 39126.75 - 24 16 2 0 16 0 0 0 - - False"},
        {"no planned work", "PlnWork=0, ActWorkDuration=3", "PlnWork=0, PercCompleted=99",
         "39125 39125 - 8 0 2 0 16 3 0 0 - - False"},
        {"negative work", "PlnWork=-8, ActWorkDuration=3", "PlnWork=-8", "39125 39125 - 8 -16 2 0 16 3 0 0 - - False"},
        {"all done", "ActWorkDuration=8", "ActWorkDuration=8", "39125 39125 - 8 16 2 0 16 16 100 0 - - False"},
        {"more than all", "ActWorkDuration=8", "ActWorkDuration=8.25",
         "39125 39125 - 8 16 2 0 16 16.25 99 0 - - False"},
        {"less than nothing", "ActWorkDuration=-8", "", "39125 39125 - 8 16 2 0 16 -8 -50 0 - - False"},
        {"a third", "PlnWork=1, ActWorkDuration=1", "PlnWork=2", "39125 39125 - 8 3 2 0 16 1 33.333332 0 - - False"},
        {"small and large figures", "Users=0.0000001, PlnWork=1e16", "Users=0, PlnWork=0",
         "39125 39125 - 8 1E+16 0.0000001 0 16 0 0 0 - - False"},
        {"one of them finished", "Finished=True", "", "39125 39125 - 8 16 2 0 16 0 0 0 - - True"},
        {"both finished", "Finished=True", "Finished=True", "39125 39125 - 8 16 2 0 16 0 0 0 - - True"},
        {"one has no figures", "PlnWork=Null, Users=Null, PlnStartDate=Null, PlnFinishDate=Null, Finished=Null", "",
         "39125 39125 - 8 8 1 0 16 0 0 0 - - False"},
    };
    for (const auto& row : rows) {
        projectWith(row.one, row.other);
        const Text before = figures("PT4");
        rollUp("PT2", "PT1");
        EXPECT_EQ(figures("PT2"), row.group) << row.name;
        EXPECT_EQ(figures("PT4"), before) << row.name;
    }
}

TEST_P(RollUpTest, ADurationIsMeasuredInTheProjectsCalendar) {
    projectWith("", "PlnFinishDate=39126");
    sql("Insert Into WorkingHours Values ('WH00000002', 0, 4, 5, 4, 4, 4, 0, 'PT1')");
    sql("Insert Into WorkingHours Values ('WH00000003', 1, 1, 1, 1, 1, 1, 1, 'PT2')");
    rollUp("PT2", "PT1");
    EXPECT_EQ(figures("PT2"), "39125 39126 - 9 16 2 0 16 0 0 0 - - False");

    sql("Delete From WorkingHours"); // no hours are known
    rollUp("PT2", "PT1");
    EXPECT_EQ(figures("PT2"), "39125 39126 - 0 16 2 0 16 0 0 0 - - False");
}

TEST_P(RollUpTest, AFailureEndsTheWalkWithTheGroupCleared) {
    const struct {
        const char *name, *ofBoth;
        test::Failure failure;
    } rows[] = {
        {"no start", "PlnStartDate=Null", {errors::invalidNull}},
        {"no finish", "PlnFinishDate=Null", {errors::invalidNull}},
        {"no work done where some is planned", "ActWorkDuration=Null", {errors::invalidNull}},
        {"no planned work", "PlnWork=Null", {errors::dataTypeMismatch, "", "Data type mismatch"}},
        {"no resources", "Users=Null", {errors::dataTypeMismatch, "", "Data type mismatch"}},
        {"neither finished nor not", "Finished=Null", {errors::engine}},
        {"a span beyond 16 bits", "PlnFinishDate=60000", {errors::overflow}},
        {"no such date", "PlnFinishDate=1e9", {errors::overflow}},
        {"a percentage beyond a single", "PlnWork=1e-30, ActWorkDuration=1e30", {errors::overflow}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        projectWith(row.ofBoth, row.ofBoth);
        const Text project = figures("PT1");
        connection->BeginTrans();
        test::expectFailure(row.failure, [] { rollUp("PT2", "PT1"); });
        EXPECT_EQ(figures("PT2"), "- - - 0 0 0 0 0 0 0 0 - - False");
        EXPECT_EQ(figures("PT1"), project);
        connection->CommitTrans();
    }
}

TEST_P(RollUpTest, EachAncestorIsWrittenOnceAndTheProjectTwice) {
    projectWith("ActWorkDuration=1, PlnWork=1, EarliestStartDate=39120.5", "PlnWork=2, Finished=True");
    statements();
    const Text clear = "execute|Update Projects Set PlnDuration=0, EarliestStartdate=NULL, PlnStartdate=NULL, "
                       "PlnFinishdate=NULL,  PlnWork=0,  Users=0, ActDuration=0, RemainingWork=0, ActWorkDuration=0, "
                       "PercCompleted=0, ExptOverrun=0, ActStartDate=NULL, ActFinishdate=NULL  Where Id='";
    const Text sum =
        "open|SELECT Projects.ParentId, Max(Projects.PlnDuration) AS PlnDuration,  Min(Projects.EarliestStartdate) AS "
        "EarliestStartdate, Min(Projects.PlnStartdate) AS PlnStartdate,  Max(Projects.PlnFinishdate) AS "
        "PlnFinishdate,  Sum(Projects.PlnWork) AS PlnWork, Sum(Projects.Users) AS Users,  Max(Projects.ActDuration) AS "
        "ActDuration, AVG(Projects.PercCompleted) AS percCompleted, Sum(Projects.RemainingWork) AS RemainingWork, "
        "Sum(Projects.ActWorkDuration)  AS ActWorkDuration, Sum(Projects.ExptOverrun) AS ExptOverrun, "
        "Min(Projects.ActStartDate) AS ActStartDate, Max(Projects.ActFinishdate)  AS ActFinishdate, "
        "AVG(Projects.Finished) As Finished From Projects GROUP BY Projects.ParentId HAVING  (Projects.ParentId='";
    const auto write = [](const char* work, const char* rest) {
        return fmt::format("execute|Update Projects Set PlnDuration=8,  PlnWork='{}', EarliestStartdate=39120.5, "
                           "PlnStartdate=39125,PlnFinishdate=39125,  Users='{}",
                           work, rest);
    };
    const Text group = write("3", "2', ActDuration='0', RemainingWork='16', ActWorkDuration='1', "
                                  "PercCompleted='33.333332', ExptOverrun='0', ActStartDate=Null, ActFinishdate=Null, "
                                  "Finished=-0.5 Where Id='PT2'");
    const auto project = [&](const char* finished) {
        return write("11", "3', ActDuration='0', RemainingWork='24', ActWorkDuration='1', PercCompleted='9.090909', "
                           "ExptOverrun='0', ActStartDate=Null, ActFinishdate=Null, Finished=") +
               finished + " Where Id='PT1'";
    };
    const Text up = "open|Select ID, ParentId From Projects Where Id='";

    const char* const before = std::setlocale(LC_NUMERIC, nullptr);
    const Text kept = before != nullptr ? before : "C";
    std::setlocale(LC_NUMERIC, "de_DE.UTF-8"); // where it is installed: no comma reaches a statement
    rollUp("PT2", "PT1");
    std::setlocale(LC_NUMERIC, kept.c_str());

    EXPECT_THAT(walk(),
                ElementsAre(clear + "PT2'", sum + "PT2')", "calendar", group, up + "PT2'", clear + "PT1'",
                            sum + "PT1')", "calendar", project("-0.3333333333333333"), up + "PT1'", clear + "PT1'",
                            sum + "PT1')", "calendar", project("-0.6666666666666666"), up + "PT1'"));
}

TEST_P(RollUpTest, WhetherAProjectIsFinishedIsPartOfItsOwnAverage) {
    const struct {
        const char *project, *tasks, *expected;
    } rows[] = {{"False", "True", "True"}, {"True", "False", "True"}, {"False", "False", "False"}};
    for (const auto& row : rows) {
        projectWith("", "");
        sql(fmt::format("Update Projects Set Finished={} Where ItemType=2", row.tasks));
        sql(fmt::format("Update Projects Set Finished={} Where Id='PT1'", row.project));
        rollUp("PT2", "PT1");
        EXPECT_TRUE(figures("PT1").ends_with(row.expected)) << row.project << " above " << row.tasks;
    }
}

TEST_P(RollUpTest, AGroupWithoutRowsStaysCleared) {
    projectWith("", "");
    sql("Update Projects Set Finished=True, PercCompleted=40 Where Id='PT2'");
    sql("Delete From Projects Where ParentID='PT2'");
    rollUp("PT2", "PT1");
    EXPECT_EQ(figures("PT2"), "- - - 0 0 0 0 0 0 0 0 - - True");
    EXPECT_EQ(figures("PT1"), "39125 39125 - 8 8 1 0 8 0 0 0 - - True");
}

TEST_P(RollUpTest, TreesThatAreNone) {
    const struct {
        const char *name, *change, *parent, *root;
        int visits; ///< -1 when a row is met a third time
    } rows[] = {
        {"sound", "ItemType=ItemType", "PT2", "PT1", 3},
        {"in small letters", "ItemType=ItemType", "pt2", "pt1", 3},
        {"a task of the project itself", "ItemType=ItemType", "PT1", "PT1", 2},
        {"no parent at all", "ItemType=ItemType", "", "", 1},
        {"a parent that is not there", "ItemType=ItemType", "PT9", "PT1", 1},
        {"a project without a parent", "ParentID=Null Where Id='PT1'", "PT2", "PT1", 3},
        {"a parent that is gone", "ParentID='PT9' Where Id='PT2'", "PT2", "PT1", 2},
        {"a group in its own task", "ParentID='PT4' Where Id='PT2'", "PT2", "PT1", -1},
        {"a group in itself", "ParentID='PT2' Where Id='PT2'", "PT2", "PT1", -1},
        {"another project's", "ItemType=ItemType", "PT2", "PT9", -1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        projectWith("", "");
        sql(Text("Update Projects Set ") + row.change);
        statements();
        if (row.visits >= 0) {
            rollUp(row.parent, row.root);
        } else {
            test::expectFailure({errors::invalidCall, "", "Invalid procedure call or argument: the row PT"},
                                [&] { rollUp(row.parent, row.root); });
        }
        const auto sent = statements();
        const auto visits = std::ranges::count_if(sent, [](const Text& statement) {
            return statement.starts_with("execute|Update Projects Set PlnDuration=0");
        });
        if (row.visits >= 0) {
            EXPECT_EQ(visits, row.visits);
        } else {
            EXPECT_LE(visits, 5);
        }
    }
}

/// The same sums made in memory, row by row.
class Tree {
public:
    struct Row {
        std::size_t parent = 0;
        bool isTask = false;
        bool isSummed = false; ///< something below it is a task
        int start = 0, finish = 0;
        double work = 0, users = 0, actual = 0, remaining = 0, done = 0, overrun = 0;
        bool finished = false;
    };

    explicit Tree(std::mt19937& random) {
        const auto quarters = [&](unsigned most) { return 0.25 * static_cast<double>(random() % most); };
        const std::size_t groups = 1 + random() % 8;
        const std::size_t all = groups + 1 + random() % 25;
        for (std::size_t i = 0; i < all; ++i) {
            Row row;
            row.isTask = i >= groups;
            row.parent = i == 0 ? 0 : random() % std::min(i, groups);
            row.start = 39083 + static_cast<int>(random() % 200);
            row.finish = row.start + static_cast<int>(random() % 100);
            row.work = quarters(200);
            row.users = quarters(12);
            row.actual = quarters(100);
            row.remaining = quarters(100);
            row.done = quarters(250);
            row.overrun = quarters(60);
            row.finished = random() % 3 == 0;
            rows.push_back(row);
            for (std::size_t above = row.parent; row.isTask; above = rows[above].parent) {
                rows[above].isSummed = true;
                if (above == 0) break;
            }
        }
    }

    [[nodiscard]] static Text idOf(std::size_t row) { return fmt::format("PT{}", row + 1); }

    /// Start, finish, duration, work, resources, actual duration, remaining, done, percentage, overrun, finished.
    [[nodiscard]] Text figuresOf(std::size_t i) const {
        const Row sum = summed(i);
        int hours = 0;
        for (int day = sum.start; day <= sum.finish; ++day)
            hours += day % 7 >= 2 ? 8 : 0; // 39125, a Monday, is two days behind a multiple of seven
        auto percentage = sum.work > 0 ? static_cast<float>((sum.done - sum.overrun) / sum.work * 100) : 0;
        if (percentage > 100) percentage = 99;
        return fmt::format("{} {} - {} {} {} {} {} {} {} {} - - {}", sum.start, sum.finish, hours, sum.work, sum.users,
                           sum.actual, sum.remaining, sum.done, plainDecimal(percentage), sum.overrun,
                           sum.finished ? "True" : "False");
    }

    std::vector<Row> rows;

private:
    [[nodiscard]] Row summed(std::size_t i) const {
        if (!rows[i].isSummed) return rows[i];
        Row sum;
        sum.start = 99999;
        sum.finished = i == 0 && rows[i].finished;
        for (std::size_t below = 1; below < rows.size(); ++below) {
            if (rows[below].parent != i) continue;
            const Row part = summed(below);
            sum.start = std::min(sum.start, part.start);
            sum.finish = std::max(sum.finish, part.finish);
            sum.work += part.work;
            sum.users += part.users;
            sum.actual = std::max(sum.actual, part.actual);
            sum.remaining += part.remaining;
            sum.done += part.done;
            sum.overrun += part.overrun;
            sum.finished = sum.finished || part.finished;
        }
        return sum;
    }
};

TEST_P(RollUpTest, AncestorsAreWhatTheSameSumsGiveInMemory) {
    std::mt19937 random(39125);
    for (int round = 0; round < 25; ++round) {
        const Tree tree(random);
        connection->BeginTrans();
        connection->execute("Delete From Projects");
        for (std::size_t i = 0; i < tree.rows.size(); ++i) {
            const auto& row = tree.rows[i];
            task(Tree::idOf(i), Tree::idOf(row.parent),
                 fmt::format("PlnStartDate={}, PlnFinishDate={}, PlnWork={}, Users={}, ActDuration={}, "
                             "RemainingWork={}, ActWorkDuration={}, ExptOverrun={}, Finished={}",
                             row.start, row.finish, row.work, row.users, row.actual, row.remaining, row.done,
                             row.overrun, row.finished ? "True" : "False"));
        }
        for (const auto& row : tree.rows) {
            if (row.isTask) rollUp(Tree::idOf(row.parent), Tree::idOf(0));
        }
        connection->CommitTrans();
        for (std::size_t i = 0; i < tree.rows.size(); ++i) {
            if (!tree.rows[i].isSummed) continue;
            EXPECT_EQ(figures(Tree::idOf(i)), tree.figuresOf(i)) << "round " << round << ", " << Tree::idOf(i);
        }
    }
}

CORVETH_ON_EVERY_ENGINE(RollUpTest);

} // namespace
} // namespace corveth
