-- Notes, links between items, and what the database knows of itself.
--
-- Types are logical; each engine has its own for them:
--   char(n)            a key, a link or a code: compares without regard to ASCII case
--   text               text of any length, compares exactly
--   smallint, integer  16 and 32 bits            byte      0 to 255
--   real               a double                  currency  four decimals
--   date               day number, reads as date boolean   -1 or 0
--   blob               bytes

create table SchemaVersion (
    Version     integer not null
);

create table Notes (
    NoteId      char(10) not null primary key,
    LinkId      char(10),
    LinkType    text,
    Title       text,
    Note        text,
    Creator     char(10),
    Creation    date
);
create index on Notes (LinkId);
create index on Notes (LinkType);

-- Rows are inserted by position: the order of the columns matters.
create table ItemMap (
    LinkId      char(10) not null,
    ItemId      char(10) not null,
    ItemType    integer not null,
    Remarks     text
);
create index on ItemMap (LinkId, ItemType);
create index on ItemMap (ItemId);
