#include "scheduling/tasks.h"

#include "attachments/world.h"
#include "contacts/contact.h"
#include "scheduling/task_world.h"

#include <gmock/gmock.h>

namespace corveth {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class TasksTest : public test::TaskWorld {
protected:
    static std::vector<Text> members(const Tasks& tasks) {
        std::vector<Text> result;
        for (std::int32_t i = 1; i <= tasks.get_Count(); ++i)
            result.push_back(tasks.get_Item(i)->ID);
        return result;
    }
};

TEST_P(TasksTest, ListsTheLinkedTasksOrTheProjectsOfACategory) {
    const Text project = saved(ptType::PROJECT), other = saved(ptType::PROJECT);
    const Text task = saved(ptType::Task, project);
    sql("Update Projects Set prjCategoryId='PC00000001'");
    sql("Insert Into ItemMap Values ('CN00000001', '" + task + "', 28, '')");
    sql("Insert Into ItemMap Values ('CN00000002', '" + other + "', 28, '')");
    statements();
    const struct {
        const char* name;
        std::function<void(Tasks&)> given;
        const char* statement;
        Text link;
        std::vector<Text> expected;
    } cases[] = {
        {"of a link",
         [](Tasks& it) { it.let_LinkId("CN00000001"); },
         "open|SELECT Projects.ID From Projects INNER JOIN ItemMap ON Projects.ID  = ItemMap.ItemId"
         " Where ItemMap.LinkId=\"CN00000001\"",
         "CN00000001",
         {task}},
        {"of a category",
         [](Tasks& it) { it.let_LinkId("CN00000001"), it.SetCategoryFilter("PC00000001"); },
         "open|SELECT ID From Projects Where PrjCategoryID ='PC00000001' And ItemType =0",
         "CN00000001",
         {project, other}},
        {"of no link",
         [](Tasks& it) { it.SetCategoryFilter("PC00000001"), it.let_LinkId(""); },
         "open|SELECT Projects.ID From Projects INNER JOIN ItemMap ON Projects.ID  = ItemMap.ItemId"
         " Where ItemMap.LinkId=\"\"",
         "",
         {}},
    };
    const auto tasks = make<Tasks>();
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        row.given(*tasks);
        EXPECT_EQ(tasks->get_LinkId(), row.link);
        EXPECT_THAT(statements(), IsEmpty()) << "only Populate asks";
        tasks->Populate();
        EXPECT_EQ(members(*tasks), row.expected);
        EXPECT_EQ(statements().at(0), row.statement);
    }
    EXPECT_EQ(members(*tasks).size(), 0U);
}

TEST_P(TasksTest, AMemberIsLoadedAndKeyed) {
    const Text project = saved(ptType::PROJECT);
    sql("Update Projects Set ItemName='Bridge'");
    const auto tasks = make<Tasks>();
    const Value added = tasks->Add(project, "first");
    EXPECT_EQ(tasks->get_Item("FIRST")->get_ItemName(), "Bridge");
    EXPECT_EQ(*added.getIf<Ref<Object>>(), tasks->get_Item(1));
    tasks->Add(project);
    test::expectFailure({errors::application, "Tasks add", "This key is already associated"},
                        [&] { tasks->Add(project, "First"); });
    EXPECT_EQ(tasks->get_Count(), 2);
    sql("Update Projects Set ItemName=Null");
    test::expectFailure({errors::application, "Tasks add", "Invalid use of Null"}, [&] { tasks->Add(project); });
    EXPECT_EQ(tasks->get_Count(), 2);
    tasks->Remove("first");
    EXPECT_EQ(tasks->get_Count(), 1);
    EXPECT_EQ(row(project, {"Id"}), project) << "the row stays";
}

TEST_P(TasksTest, LinksAreReplacedByTheMembers) {
    const Text first = saved(ptType::PROJECT), second = saved(ptType::PROJECT);
    for (const char* link :
         {"'CN00000001', 'PT00000099', 28", "'CN00000001', 'PT00000099', 1", "'CN00000002', 'PT00000099', 28"})
        sql(Text("Insert Into ItemMap Values (") + link + ", '')");
    const auto tasks = make<Tasks>();
    tasks->let_LinkId("CN00000001");
    tasks->Add(first);
    tasks->Add(second);
    statements();
    tasks->UpdateTasks();
    EXPECT_THAT(statements(), ElementsAre("execute|Delete From ItemMap Where LinkId='CN00000001' And ItemType=28",
                                          "execute|Insert Into ItemMap Values('CN00000001', '" + first + "',28,'')",
                                          "execute|Insert Into ItemMap Values('CN00000001', '" + second + "',28,'')"));
    EXPECT_EQ(scalar("Select Count(*) From ItemMap"), "4");
    tasks->Populate();
    EXPECT_THAT(members(*tasks), ElementsAre(first, second));
}

TEST_P(TasksTest, FailuresCarryTheListsName) {
    const auto tasks = make<Tasks>();
    test::expectFailure({errors::application, "Tasks", "Command text was not set"}, [&] { tasks->Populate(); });
    tasks->let_LinkId("a\"b'c");
    test::expectFailure({errors::application, "Tasks", "Invalid procedure call"}, [&] { tasks->Populate(); });
    test::expectFailure({errors::application, "Tasks", "Invalid procedure call"}, [&] { tasks->UpdateTasks(); });
    const Text project = saved(ptType::PROJECT);
    sql("Insert Into ItemMap Values ('CN00000001', '" + project + "', 28, '')");
    sql("Update Projects Set ItemName=Null");
    tasks->let_LinkId("CN00000001");
    test::expectFailure({errors::application, "Tasks", "Invalid use of Null"}, [&] { tasks->Populate(); });
}

TEST_P(TasksTest, RowsAreReadByStaticCopiesAndSavedByKeyset) {
    const auto service = make<test::RecordingService>();
    moduleState().DbServiceInstance = service;
    const auto asked = [&](TextView what) {
        std::vector<Text> calls;
        for (const Text& call : std::exchange(service->calls, {})) {
            if (call.find(what) != Text::npos) calls.push_back(call.substr(0, 3));
        }
        return calls;
    };
    const auto project = item(ptType::PROJECT);
    EXPECT_THAT(asked(" From Projects"), ElementsAre("3/3"));
    project->Update();
    EXPECT_THAT(service->calls, ::testing::Contains("PT 10 ID Projects"));
    EXPECT_THAT(asked(" From Projects"), ElementsAre("1/3", "3/3", "3/3")) << "the row, parent and project";
    const auto tasks = make<Tasks>();
    tasks->SetCategoryFilter("PC00000001");
    tasks->Populate();
    project->Delete();
    EXPECT_THAT(asked(" F"), ElementsAre("3/3", "3/3"));
}

TEST_P(TasksTest, AContactAndItsCompanyHandOutTasksOfTheirOwn) {
    const auto contact = make<Contact>();
    const auto tasks = contact->get_Tasks();
    EXPECT_EQ(contact->get_Tasks(), tasks);
    EXPECT_NE(contact->get_Company()->get_Tasks(), tasks);
    EXPECT_EQ(contact->get_Company()->get_Tasks(), contact->get_Company()->get_Tasks());
    EXPECT_EQ(tasks->get_LinkId(), "");
    EXPECT_THAT(statements(), IsEmpty());
}

CORVETH_ON_EVERY_ENGINE(TasksTest);

} // namespace
} // namespace corveth
