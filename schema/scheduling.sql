-- Projects, group tasks and tasks: one tree a project, a root is its own parent and its own project. Dates are day
-- numbers, durations working hours; figures of a group and a project are summed up from what is below them.

create table Projects (
    Id                char(10) not null primary key,
    ParentID          char(10),
    ProjectId         char(10),
    ItemName          text,
    Description       text,
    BidId             char(10),
    CalcMethod        integer,
    EarliestStartDate real,
    PlnStartDate      real,
    PlnFinishDate     real,
    ActStartDate      real,
    ActFinishDate     real,
    PlnDuration       real,
    PlnWork           real,
    Users             real,
    RemainingWork     real,
    ActDuration       real,
    ActWorkDuration   real,
    PercCompleted     real,
    AwAmount          real,
    BudgAmount        real,
    ExptOverrun       real,
    ItemType          integer,
    Finished          boolean,
    VersionId         char(10),
    SourceId          char(10),
    prjCategoryId     char(10),
    Priority          text,
    SourceType        text
);
create index on Projects (ParentID);
create index on Projects (ProjectId);
create index on Projects (prjCategoryId);

-- The hours of a week. A row without a project is the calendar of all that have none of their own. The days are told by
-- their position.
create table WorkingHours (
    Id              char(10) not null primary key,
    Sunday          real,
    Monday          real,
    Tuesday         real,
    Wednesday       real,
    Thursday        real,
    Friday          real,
    Saturday        real,
    ProjectId       char(10)
);
create index on WorkingHours (ProjectId);
insert into WorkingHours values ('WH00000001', 0, 8, 8, 8, 8, 8, 0, null);

-- Days with hours of their own; the first row of a day counts.
create table Holidays (
    excDate         real,
    WorkingHour     real,
    ProjectId       char(10),
    Description     text
);
create index on Holidays (ProjectId);
create index on Holidays (excDate);

-- The categories of projects, a small tree.
create table ProjectTypeMaster (
    ItemID          char(10) not null primary key,
    ParentID        char(10),
    ItemType        text,
    Description     text,
    ItemIndex       smallint
);
create index on ProjectTypeMaster (ParentID);

-- Who takes part in an item: a share of a full-time resource in percent, hours of work.
create table Participants (
    ContactId       char(10) not null,
    LinkId          char(10) not null,
    Role            text,
    Permission      text,
    WorkHrs         real,
    AllotedHrs      real,
    Rate            real,
    Amount          real,
    Account         text,
    Billable        boolean,
    Comment         text,
    Availability    real,
    primary key (ContactId, LinkId)
);
create index on Participants (LinkId);

create lookup view Users of Participants with ContactMaster (ContactName) by ContactId;
