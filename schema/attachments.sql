-- Files kept with an item, each whole in its row.

create table Attachments (
    AttachmentID    char(10) not null primary key,
    AttachmentTitle text,
    AttachmentType  text,
    AttachmentSize  integer,
    AttachmentDate  date,
    LinkID          char(10),
    LinkType        text,
    -- The last: what stands behind a long value can only be read through it.
    Data            blob
);
create index on Attachments (LinkID);
