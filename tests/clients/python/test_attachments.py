"""Files kept with an item, whole."""

import os
import pathlib
import subprocess
import sys
import unittest

import corveth
from support import APPLICATION, DatabaseTest

LIMIT = 5 * 1024 * 1024
ADD = """
import corveth, sys
conn = corveth.Dispatch("ADODB.Connection")
conn.Open(sys.argv[1])
crm = corveth.Dispatch("prjCorveth.CRM")
crm.UseConnection(conn)
attachments = corveth.Dispatch("prjCorveth.Attachments")
attachments.LinkId = "BG00000001"
for _ in range(int(sys.argv[2])):
    attachments.AddAttachment()
attachments.UpdateAttachments()
"""


class AttachmentTest(DatabaseTest):
    def listed(self):
        attachments = corveth.Dispatch("prjCorveth.Attachments")
        attachments.LinkId = "BG00000001"
        attachments.Populate()
        return attachments

    def file(self, name, content):
        path = self.path.with_name(name)
        path.write_bytes(content)
        return path

    def test_files_that_the_user_chooses(self):
        contents = {"empty.txt": b"", "largest.bin": os.urandom(LIMIT), "beyond.bin": bytes(LIMIT + 1)}
        chosen = "".join(f"{self.file(name, content)}\n" for name, content in contents.items()) + "\n"
        done = subprocess.run(
            [sys.executable, "-c", ADD, self.connection_string, "4"],
            input=chosen,
            capture_output=True,
            text=True,
            check=False,
            env=os.environ | {"PYTHONPATH": str(pathlib.Path(corveth.__file__).parent.parent)},
        )
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(done.stderr.count("Attachment Limitation: File size cannot exceed 5 MB."), 1)
        del contents["beyond.bin"]
        found = {it.AttachmentTitle: (it.AttachmentID, it.AttachmentSize, it.Data) for it in self.listed()}
        expected = {name: (f"AT0000000{i}", len(data), data) for i, (name, data) in enumerate(contents.items(), 1)}
        self.assertEqual(found, expected)

    def test_bytes_go_both_ways(self):
        attachment = corveth.Dispatch("prjCorveth.Attachment")
        for given in (bytes(range(256)), bytearray(b"ab"), memoryview(b"\0" * (LIMIT + 1)), b""):
            attachment.Data = given
            attachment.AttachmentDate = "2026-01-02 03:04:05"
            attachment.UpdateAttachment("BG00000001")
            again = corveth.Dispatch("prjCorveth.Attachment")
            again.AttachmentID = attachment.AttachmentID
            again.Populate()
            self.assertEqual(again.Data, bytes(given))
            self.assertEqual(again.AttachmentDate, "46024.1278356481")
            again.UpdateAttachment("BG00000001")
        self.assertEqual([it.AttachmentDate for it in self.listed()], ["2026-01-02 03:04:05"])

    def test_a_list_is_loaded_once(self):
        attachments = self.listed()
        with self.fails(APPLICATION, "Unable to Populate.", source="Attachments"):
            attachments.Populate()
        self.assertIsNone(attachments("AT00000001"))
        attachments.Remove("")
        with self.fails(APPLICATION, "Cannot delete Record(s).", source="Attachments"):
            attachments.Remove("AT00000001")


if __name__ == "__main__":
    unittest.main()
