-- People and organisations: one row each, kept in two tables and used through one view.

create table ContactMaster (
    ContactId       char(10) not null primary key,
    CompanyId       char(10),
    Title           text,
    FirstName       text,
    MiddleName      text,
    LastName        text,
    ContactName     text,
    ContactType     integer,
    JobTitle        text,
    Profession      text,
    Department      text,
    TypeDef         text,
    ShowInTaskList  byte,
    DOB             date,
    Description     text,
    ReferredBy      text,
    Pic             blob
);
create index on ContactMaster (CompanyId);
create index on ContactMaster (ContactType, ContactId);

-- The first address is the home (a company's office), the second the office (a company's shipping address).
create table ContactDetails (
    ContactId       char(10) not null primary key,
    Phone           text,
    Mobile          text,
    WorkPhone       text,
    Extension       text,
    Fax             text,
    WebAddress      text,
    IMAddress       text,
    Address11       text,
    Address12       text,
    Country1        text,
    State1          text,
    City1           text,
    Pin1            text,
    DisplayAs1      text,
    Email1          text,
    Address21       text,
    Address22       text,
    Country2        text,
    State2          text,
    City2           text,
    Pin2            text,
    DisplayAs2      text,
    Email2          text
);

-- One row a contact, also when its details are gone. It can be written to: what is inserted, changed or deleted here
-- goes to both tables, and details that are missing are made when they are written.
create joined view Contacts of ContactMaster, ContactDetails by ContactId as Expr1;
