-- Alarms set on an item.

create table Reminders (
    ReminderId      char(10) not null primary key,
    Description     text,
    LinkId          char(10),
    LinkType        text
);
create index on Reminders (LinkId);
