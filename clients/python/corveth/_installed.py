"""Where the server stands, seen from this folder: filled in when the module is installed together with it."""

SERVER = ""
