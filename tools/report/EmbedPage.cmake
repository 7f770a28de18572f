# Turns page.html into a C++ source holding it as one string, so the report
# tool carries its page and needs no file beside it at run time.
file(READ ${PAGE} text)
string(FIND "${text}" ")vireo_page\"" clash)
if(NOT clash EQUAL -1)
  message(FATAL_ERROR "${PAGE} contains the raw string's closing delimiter")
endif()
file(WRITE ${OUT}.partial "extern const char kReportPage[];\nconst char kReportPage[] = R\"vireo_page(${text})vireo_page\";\n")
file(RENAME ${OUT}.partial ${OUT})
