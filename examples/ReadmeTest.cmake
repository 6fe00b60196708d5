# Fails unless README holds the whole text of PROGRAM.
file(READ ${README} readme)
file(READ ${PROGRAM} program)
string(FIND "${readme}" "${program}" place)
if(place EQUAL -1)
  message(FATAL_ERROR "${README} does not hold ${PROGRAM} word for word")
endif()
