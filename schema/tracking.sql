-- Products with their deliverables, and the status that items went through.

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
