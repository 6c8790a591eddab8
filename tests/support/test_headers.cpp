// What the headers that the tests share are compiled for; see tests/CMakeLists.txt.
