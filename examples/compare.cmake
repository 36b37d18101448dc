# Fails unless README holds SOURCE, letter by letter, as a block of C++.
file(READ ${README} readme)
file(READ ${SOURCE} source)
string(FIND "${readme}" "```cpp\n${source}```" place)
if(place EQUAL -1)
  message(FATAL_ERROR "${README} does not show ${SOURCE} as it is")
endif()
