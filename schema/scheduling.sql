-- Projects, group tasks and tasks: one tree a project, a root is its own parent and its own project.

create table Projects (
    Id              char(10) not null primary key,
    ParentID        char(10),
    ProjectId       char(10),
    ItemName        text
);
create index on Projects (ParentID);
create index on Projects (ProjectId);

-- Who takes part in an item.
create table Participants (
    ContactId       char(10) not null,
    LinkId          char(10) not null,
    primary key (ContactId, LinkId)
);
create index on Participants (LinkId);
