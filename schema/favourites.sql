-- Bookmarks, filed in folders.

create table Favourites (
    FavouriteID     char(10) not null primary key,
    LinkId          char(10),
    LinkType        text,
    FavouriteName   text
);
create index on Favourites (LinkId);
