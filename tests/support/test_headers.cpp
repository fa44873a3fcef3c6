// Nothing but the headers that tests/support/CMakeLists.txt has precompiled for every test.
