"""Makes the stubs of the Python module and the class reference; scripts/generate runs it."""
