-- Products with their deliverables, their versions, what is to be done about an item and the status that it went through.

create table Products (
    Id              char(10) not null primary key,
    ItemName        text,
    ParentId        char(10),
    ProductId       char(10),
    LinkId          char(10)
);
create index on Products (ParentId);
create index on Products (ProductId);
create index on Products (LinkId);

create table StatusHistory (
    Id              char(10) not null primary key,
    LinkId          char(10)
);
create index on StatusHistory (LinkId);

-- Releases of a product.
create table Versions (
    Id              char(10) not null primary key,
    VersionName     text,
    Description     text,
    ReleaseDate     date
);

-- What is to be done about an item.
create table Actions (
    Id              char(10) not null primary key,
    Description     text,
    Priority        text,
    FinishBy        date,
    PercCompleted   byte,
    FinishDate      date,
    LinkId          char(10),
    AssignedTo      char(10),
    TaskId          char(10)
);
create index on Actions (LinkId);
