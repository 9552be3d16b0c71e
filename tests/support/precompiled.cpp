// Nothing: the headers that are compiled once for all tests are its only content.
