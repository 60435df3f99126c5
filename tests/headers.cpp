// Nothing: the target that the tests' precompiled headers are made for needs a source.
