// The support module of the tests: one that is there to be loaded.
