// Both engines give the same answer to the same statement: the same columns, types and values, or the same error.

#include "platform/automation/convert.h"
#include "support/temporary_database.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <random>

namespace corveth::test {
namespace {

// No two keys or links that differ in case alone: which of them a group or a greatest one shows is the engine's choice.
constexpr const char* rowsOfItems[] = {
    "('k1', 'ab', 'Abc', 1, 1, 1, 1.5, 1.25, 39128.5, True, Null)",
    "('k2', 'CD', 'abc', 2, -5, 255, -1.5, -0.0001, 39129, False, Null)",
    "('K3', Null, Null, Null, Null, Null, Null, Null, Null, Null, Null)",
    "('k4', '', '', 0, 0, 0, 0, 0, 0, 0, Null)",
    "('k5', 'zz', 'Ärger 😀 x', 2147483, 327, 7, 0.1, 922337203685.58, -1.25, 0.5, Null)",
    "('k6', 'eF ', 'trail ', -2147483, -328, 9, 1e15, -922337203685.58, 2958465, -0.333, Null)",
    "('k7', 'ba', 'it''s', 7, 7, 7, 2.5, 2.5, #2007-02-13#, 1, Null)",
    "('k8', 'b%', '50%_x*?', 100, 10, 10, 1e-7, 0.0001, 1, -1, Null)",
    "('k9', '12', '12', 12, 12, 12, 12, 12, 12, -1, Null)",
};

/// The suite runs where there is a server; the file engine's database stands beside it.
class DataEnginesAgree : public DataTest {
protected:
    void SetUp() override {
        DataTest::SetUp();
        const Engine engine = engines("SQLite").at(0);
        other_ = engine.make(true);
        beside_ = make<Connection>();
        beside_->open(other_->connectionString());
        for (const char* table : engine.tables)
            beside_->execute(table);
        for (const auto& each : {connection, beside_}) {
            for (const char* row : rowsOfItems)
                each->execute(fmt::format("Insert Into Items Values {}", row));
            each->execute("Insert Into Pieces (Item, Part) Select Id, Id From Items Where Size > 1");
        }
    }
    void TearDown() override {
        beside_ = nullptr;
        other_ = nullptr;
        DataTest::TearDown();
    }

    /// Runs the statement on both, then compares the answers and, after a change, the table's rows.
    void compare(const Text& statement) const {
        EXPECT_EQ(answer(*connection, statement), answer(*beside_, statement)) << statement;
        if (statement.starts_with("Select")) return;
        const Text all = "Select * From Items Order By Id";
        EXPECT_EQ(answer(*connection, all), answer(*beside_, all)) << "after " << statement;
    }
    void begin() const {
        connection->BeginTrans();
        beside_->BeginTrans();
    }
    void rollback() const {
        connection->RollbackTrans();
        beside_->RollbackTrans();
    }

private:
    static Text answer(Connection& from, const Text& statement) {
        try {
            const auto rows = make<Recordset>();
            rows->open(statement, Ref<Connection>(&from), CursorType::keyset, LockType::readOnly);
            if (!rows->isOpen()) return "done";
            Text all;
            for (std::size_t i = 0; i < rows->columnCount(); ++i)
                all += fmt::format("{} {}, ", rows->columnName(i), rows->columnType(i));
            // Rows that an order leaves equal may come in any: only the key's tells all of them apart.
            std::vector<Text> lines;
            for (; !rows->get_EOF(); rows->MoveNext()) {
                Text line;
                for (std::size_t i = 0; i < rows->columnCount(); ++i) {
                    const Value& value = rows->value(i);
                    line += fmt::format("{} {}, ", static_cast<int>(value.type()),
                                        value.isNull() ? Text("Null") : toText(value));
                }
                lines.push_back(line);
            }
            if (!statement.ends_with("Order By Id")) std::sort(lines.begin(), lines.end());
            return fmt::format("{}\n{}", all, fmt::join(lines, "\n"));
        } catch (const Error& error) {
            return fmt::format("error {}", error.number);
        }
    }

    std::unique_ptr<TestDatabase> other_;
    Ref<Connection> beside_;
};

/// Statements of the desktop dialect, put together at random from a fixed start.
class Statements {
public:
    Text next() {
        switch (below(8)) {
        case 0:
            return fmt::format("Select Id, {} From Items Order By Id", number(3));
        case 1:
            return fmt::format("Select Id, {} As Words From Items Order By Id", text(3));
        case 2:
            return fmt::format("Select Id From Items Where {} Order By Id", condition(3));
        case 3:
            return fmt::format(
                "Select {} As G, Count(*) From Items Group By Id, Done, Size, Small, Tiny, Ratio, Name, Link",
                number(2));
        case 4:
            return fmt::format("Select Sum({}), Max({}), Min({}) From Items Where {}", number(2), number(2), text(2),
                               condition(2));
        case 5:
            return fmt::format("Update Items Set {} = {}, Ratio = {} Where {}", pick({"Name", "Link"}), text(2),
                               number(2), condition(2));
        case 6:
            return fmt::format("Insert Into Items (Id, Name, Ratio) Select 'q' & Id, {}, {} From Items Where {}",
                               text(2), number(2), condition(2));
        default:
            return fmt::format("Delete From Items Where {}", condition(2));
        }
    }

private:
    using Words = std::initializer_list<const char*>;

    unsigned below(unsigned limit) { return static_cast<unsigned>(random_()) % limit; }
    Text pick(Words words) { return *(words.begin() + below(static_cast<unsigned>(words.size()))); }

    Text number(int depth) {
        const unsigned kind = below(12);
        if (depth == 0 || kind < 4)
            return pick({"Size", "Small", "Tiny", "Done", "Len(Name)", "Len(Link)", "1", "2", "0", "-3", "2.5", "7"});
        switch (kind) {
        case 4:
            return fmt::format("({} + {})", number(depth - 1), number(depth - 1));
        case 5:
            return fmt::format("({} - {})", number(depth - 1), number(depth - 1));
        case 6:
            return fmt::format("IIf({}, {}, {})", condition(depth - 1), number(depth - 1), number(depth - 1));
        case 7:
            return fmt::format("Nz({}, {})", pick({"Size", "Small", "Tiny", "Done", "Ratio"}), pick({"0", "5"}));
        case 8:
            return fmt::format("Round({}, {})", number(depth - 1), pick({"0", "1", "2"}));
        case 9:
            return fmt::format("{} / {}", number(depth - 1), number(depth - 1));
        case 10:
            return fmt::format("Abs({})", number(depth - 1));
        default:
            return fmt::format("Len({})", text(depth - 1));
        }
    }

    Text text(int depth) {
        const unsigned kind = below(12);
        if (depth == 0 || kind < 4) return pick({"Name", "Link", "Id", "'a'", "'AB'", "''", "'Ä'", "\"x y\"", "'50%'"});
        switch (kind) {
        case 4:
            return fmt::format("({} & {})", text(depth - 1), text(depth - 1));
        case 5:
            return fmt::format("Left({}, {})", text(depth - 1), below(4));
        case 6:
            return fmt::format("Right({}, {})", text(depth - 1), below(4));
        case 7:
            return fmt::format("Mid({}, {}, {})", text(depth - 1), 1 + below(3), below(3));
        case 8:
            return fmt::format("UCase({})", text(depth - 1));
        case 9:
            return fmt::format("IIf({}, {}, {})", condition(depth - 1), text(depth - 1), text(depth - 1));
        case 10:
            return fmt::format("Nz({}, 'none')", text(depth - 1));
        default:
            return fmt::format("({} & {})", text(depth - 1), number(depth - 1));
        }
    }

    Text condition(int depth) {
        const unsigned kind = below(13);
        if (depth == 0 || kind < 3)
            return pick({"Done", "Done = True", "Done = False", "Size > 1", "Name Like 'a*'", "Link Like '*b'",
                         "Name Is Null", "Size Is Not Null", "Id In ('k1','K2')", "Link = 'AB'", "Name = 'abc'",
                         "Due > #1/1/2007#", "Size Between 1 And 7", "Size = '7'", "Small = 7.0"});
        switch (kind) {
        case 3:
            return fmt::format("({} And {})", condition(depth - 1), condition(depth - 1));
        case 4:
            return fmt::format("({} Or {})", condition(depth - 1), condition(depth - 1));
        case 5:
            return fmt::format("Not {}", condition(depth - 1));
        case 6:
            return fmt::format("{} {} {}", number(depth - 1), pick({"=", "<", ">", "<>", "<=", ">="}),
                               number(depth - 1));
        case 7:
            // A key and a text: which of them says how they compare is each engine's own.
            return fmt::format("{} {} {}", text(depth - 1), pick({"=", "<", ">", "<>"}), pick({"'a'", "''", "'Ä'"}));
        case 8:
            return fmt::format("{} Like '{}'", text(depth - 1), pick({"a*", "*B*", "?b*", "*%*", "[a-b]*", "#*", "*"}));
        case 9:
            return fmt::format("{} In (1, 2, 7)", number(depth - 1));
        case 10:
            return fmt::format("{} Is Null", text(depth - 1));
        case 11:
            return fmt::format("Id In (Select Id From Items Where {})", condition(depth - 1));
        default:
            return "Exists (Select 1 From Pieces Where Item = Items.Id)";
        }
    }

    std::minstd_rand random_{11};
};

TEST_P(DataEnginesAgree, OnStatementsOfTheDialect) {
    const char* const statements[] = {
        "Insert Into Items (Id,Link,Name,Size,Small,Tiny,Ratio,Price,Due,Done) Values "
        "('k1','L1','Alpha',1,2,3,0.1,'12.3456',#2020-01-02#,True)",
        "Insert Into Items (Id,Link,Name,Size,Small,Tiny,Ratio,Price,Due,Done) Values "
        "('k2','l1','beta',-5,'7',255,'1e10',-0.5,'39128.5',False)",
        "Insert Into Items (Id,Link,Name,Size) Values ('k3',Null,'Gamma ß 😀',Null)",
        "Insert Into Items (Id,Name,Size,Done) Values ('B2','',0,0.3)",
        "Insert Into Items (Id,Name,Size,Done,Ratio) Values ('B3','100%_x','42',-0.3333,1234567.125)",
        "Insert Into Items (Id,Size) Values ('B4','')",
        "Insert Into Items (Id,Size) Values ('B5','abc')",
        "Insert Into Items (Id,Due) Values ('B6','2021-03-04 05:06:07')",
        "Insert Into Items (Id,Tiny) Values ('B7',256)",
        "Insert Into Items (Id,Small) Values ('B8',40000)",
        "Insert Into Items (Id,Price) Values ('B9',922337203685.4775)",
        "Insert Into Items (Id,Price) Values ('B9',922337203685477.58)",
        "Insert Into Items (Id) Values ('K1')",
        "Insert Into Items Values ('C1')",
        "Insert Into Items Values ('k9','x','y',1,2,3,4,5,6,7,Null)",
        "Select * From Items Order By Id",
        "Select Id, Name As \"Total Name\" From Items Order By Name",
        "Select Id As X, Size*2 As Twice, Size*2 From Items Order By Size",
        "Select Id From Items Order By Size Desc, Id",
        "Select Id From Items Order By Link, Id Desc",
        "Select Count(*), Max(Size), Min(Price), Avg(Done), Sum(Ratio), Sum(Size), Avg(Size), Sum(Price) From Items",
        "Select Count(*) As N, Link From Items Group By Link Order By Link",
        "Select Id From Items Where Done Order By 1",
        "Select Id From Items Where Not Done Order By 1",
        "Select Id From Items Where Done = True",
        "Select Id From Items Where Done <> 0 And Size > 0",
        "Select Id From Items Where (Done) Or (Size Between 1 And 50) Order By Id",
        "Select Id From Items Where Size = '42'",
        "Select Id From Items Where Size = '42.0'",
        "Select Id From Items Where Size = 42.5",
        "Select Id From Items Where Size = 'x'",
        "Select Id From Items Where Size = ''",
        "Select Id From Items Where Name = 5",
        "Select Id From Items Where Id = 'k1'",
        "Select Id From Items Where Id In ('K1','k3') Order By Id",
        "Select Id From Items Where Id Between 'a' And 'az' Order By Id",
        "Select Id From Items Where Link Is Null Order By Id",
        "Select Id From Items Where Name Like 'al*'",
        "Select Id From Items Where Name Like '*%_?'",
        "Select Id From Items Where Name Like '[a-c]*' Order By Id",
        "Select Id From Items Where Name Not Like 'g*' Order By Id",
        "Select Id From Items Where Size Like '4*'",
        "Select Id From Items Where Due > #2000-01-01# Order By Id",
        "Select Id From Items Where Due = '39128.5'",
        "Select Id From Items Where Due > '2000-01-01'",
        "Select Name & ' ' & Size & ' ' & Ratio & ' ' & Price & ' ' & Due & ' ' & Done From Items Order By Id",
        "Select Link & Null & '' From Items Order By Id",
        "Select Right(Name,3), Left(Name,2), Mid(Name,2,3), Mid(Name,2), Len(Name), UCase(Name), LCase(Name), Trim('  "
        "a ') From Items Order By Id",
        "Select Right(Name,7), Len(Size), Right(Size,1), Left(Ratio,3) From Items Order By Id",
        "Select Nz(Link,'none'), Nz(Size,0), Nz(Link), IIf(Done,'yes','no'), IIf(Size>0,1,0) From Items Order By Id",
        "Select Right(Name,-1) From Items",
        "Select 1, 'a', 1.5, Null, -3, 5000000000",
        "Select 1 As A, 'a' As B, 1.5 As C, Null As D",
        "Select 1+1, 7/2, 7 Mod 4, 2*1.5, 10-20",
        "Select 1 = 1, 1 < 10, 'a' = 'A'",
        "Select Id From Items Where 1=2",
        "Select Id From Items Where 1 Order By Id",
        "Select Id From Items Where Id = (Select Max(Id) From Items)",
        "Select Max(Due), Min(Due) From Items",
        "Select Due+1, Due From Items Where Id='k1'",
        "Select I.Id, I.[Name] From Items As I Where I.[Size]=1",
        "Select I.Id, J.Id From Items I Inner Join Items J On I.Id=J.Id Where I.Size Is Not Null Order By I.Id",
        "Select [Id],[NAME] From [Items] Where [size]=1",
        "Select Items.* From Items Where Id='k1'",
        "Select Id From Items Union Select Link From Items Where Link Is Not Null",
        "Select Due From Items Where Id='k1' Union Select Due From Items Where Id='k1'",
        "Select Due From (Select Due From Items) As T Where Due Is Not Null Order By Due",
        "Select Distinct Link From Items Order By Link",
        "Select Case When Done Then 1 Else 0 End From Items Order By Id",
        "Select Case Size When 1 Then 'one' Else 'other' End As W From Items Order By Id",
        "Select Sum(Case When Size>0 Then 1 Else 0 End) From Items",
        "Select Sum(IIf(Size>0,1,0)) As S From Items",
        "Select Id From Items Where Exists (Select * From Items As J Where J.Link=Items.Link) Order By Id",
        "Select Id From Items Where Not Exists (Select * From Items As J Where J.Link=Items.Link) Order By Id",
        "Select Nope From Items",
        "Select * From Nowhere",
        "Selec * From Items",
        "Update Items Set Size='5' Where Id='k1'",
        "Update Items Set Size=Size+1, Name=Name & '!' Where Id='K1'",
        "Update Items Set Size='' Where Id='k1'",
        "Update Items Set Done=(Select Avg(Done) From Items) Where Id='k9'",
        "Update Items Set Name=3.5 Where Id='k9'",
        "Update Items Set Name=True Where Id='k9'",
        "Update Items Set Ratio=1/3 Where Id='k9'",
        "Update Items Set Ratio=1.0/3 Where Id='k9'",
        "Update Items Set Id=Null Where Id='k9'",
        "Select * From Items Where Id='k1' Or Id='k9' Order By Id",
        "Delete From Items Where Id='nothing'",
        "Select Count(*) From Items Where Name = 'alpha'",
        "Select Id From Items Where UCase(Name)='BETA'",
        "Select Id From Items Where Name >= 'B' Order By Name",
        "Select Id From Items Order By Name Limit 2",
        "Select Date()-Date(), Now()>Date()",
        "Select Round(2.5), Round(-2.5), Round(1.234,2), Abs(-3), Int(2.7)",
        "Select Id From Items Where Left(Id,1)='B' And Len(Id)=2 Order By Id",
        "Select Max(Right(Id,1)) As maxi From Items Where Id Like 'B*'",
        "Select Id From Items Where Price=12.3456",
        "Select Id From Items Where Price='12.3456'",
        "Select Id From Items Where Price>12 Order By Id",
        "Select Price*2, Price+0.1, Price & '' From Items Where Id='k1'",
        "Select Ratio & '', 1/3.0 & '', 1e20 & '', 1e-5 & '', 123456789012345678 & '' From Items Where Id='k1'",
        "Select \"it's\" & 'say \"x\"'",
        "Select 'a' & 1 & 2.5 & Null",
        "Select Id From Items Where Id = 'A1 '",
        "Select Name From Items Where Size == 42",
        "Select Id From Items Where Size <> 42 Order By Id",
        "Select Id From Items Where Size <> '42' Order By Id",
        "Select Id, Count(*) From Items Group By Id Having Count(*) > 1",
        "Select Id From Items Where Data Is Null And Id Like 'A#' Order By Id",
        "With T As (Select Id From Items Where Size>0) Select * From T Order By Id",
        "Values (1,'a'),(2,'b')",
        "Select Sum(Size) From Items Where Id='zz'",
        "Select Items.Id & '' From Items Where Items.Done Order By Items.Id",
        "Select 5/0",
        "Select 5 Mod 0",
        "Select Sum(Done), Max(Done) From Items",
        "Select -Done From Items Order By Id",
        "Select Id From Items Where Done = 1",
        "Select Id From Items Where Size = True",
        "Select True, False, Not True",
        "Select Len('😀a'), Right('a😀',1), Left('😀a',1)",
        "Select Id From Items Where Due Is Not Null And Due <= 44000 Order By Due Desc",
        "Select 7/0, 7.5/0, 7/(2-2), -7/-2, 6/2*3, 8/2/2, 7 Mod 3, 1/Len('ab'), 10/-(5)",
        "Select Cast(12.6 As Integer), Cast(-12.6 As Integer), Cast('12abc' As Integer), Cast('x' As Integer), "
        "Cast(Null As Integer), Cast('ab' As char(3)), Cast('1.5e1x' As Real), Cast(5 As Real), Cast(2.5 As Text)",
        "Values (7/0)",
    };
    for (const char* statement : statements)
        compare(statement);
}

TEST_P(DataEnginesAgree, OnStatementsPutTogetherAtRandom) {
    Statements statements;
    for (int i = 0; i < 800 && !HasFailure(); ++i) {
        begin();
        compare(statements.next());
        rollback();
    }
}

CORVETH_ON_ENGINE("PostgreSQL", DataEnginesAgree);

} // namespace
} // namespace corveth::test
