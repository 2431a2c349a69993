# Joins the catalogues PARTS ("a|b") into OUT, without the creation date.
find_program(MSGCAT msgcat REQUIRED)
string(REPLACE "|" ";" PARTS "${PARTS}")
# xgettext leaves the charset open in a part whose texts are all ASCII; the catalogue is UTF-8.
foreach(part ${PARTS})
    file(READ ${part} text)
    string(REPLACE "charset=CHARSET" "charset=UTF-8" text "${text}")
    file(WRITE ${part} "${text}")
endforeach()
execute_process(COMMAND ${MSGCAT} --use-first --no-wrap --sort-by-file --add-location=file -o ${OUT}.joined ${PARTS}
                RESULT_VARIABLE failed)
if(failed)
    message(FATAL_ERROR "msgcat could not join ${PARTS}")
endif()
file(READ ${OUT}.joined text)
string(REGEX REPLACE "\"POT-Creation-Date: [^\"]*\\\\n\"\n" "" text "${text}")
file(WRITE ${OUT} "${text}")
