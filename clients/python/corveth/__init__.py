"""Late-bound client of the business objects.

    import corveth

    conn = corveth.Dispatch("ADODB.Connection")
    conn.Open("Provider=SQLite;Data Source=service.db")
    crm = corveth.Dispatch("prjCorveth.CRM")
    crm.UseConnection(conn)
    note = corveth.Dispatch("prjCorveth.Note")
    note.Title = "Call back"

Nothing is known of a class but what the object's own description tells. A failure of the server raises
``corveth.Error``. The modules ``prjCorveth``, ``ADODB`` and ``Corveth`` hold the enumerations, as
``corveth.prjCorveth.ctContactType.ctCompany``, and the classes by name, for annotations and ``isinstance``.
"""

from ._errors import Error
from ._names import ADODB, Corveth, prjCorveth
from ._object import Dispatch, Object
from ._record import Record
from ._values import ByRef, Missing
from ._version import VERSION as __version__

__all__ = [
    "ADODB",
    "ByRef",
    "Corveth",
    "Dispatch",
    "Error",
    "Missing",
    "Object",
    "Record",
    "__version__",
    "prjCorveth",
]

for _public in (ByRef, Error, Object, Record):
    _public.__module__ = __name__  # as it is shown in messages and found by pickle
del _public
