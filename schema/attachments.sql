-- Files kept with an item.

create table Attachments (
    AttachmentID    char(10) not null primary key,
    AttachmentTitle text,
    LinkID          char(10),
    LinkType        text
);
create index on Attachments (LinkID);
