# Puts the files of the page together: cmake -D VIEWER=FOLDER -D FRAME=FILE.cpp -P make_frame.cmake. The frame is page.html with
# the style sheets and the scripts in place of their lines; each script is an element of its own, in the order of scripts.txt.
cmake_minimum_required(VERSION 3.25)

set(style)
file(GLOB sheets ${VIEWER}/*.css)
foreach(sheet IN LISTS sheets)
  file(READ ${sheet} text)
  string(APPEND style "<style>\n${text}</style>\n")
endforeach()

set(scripts)
file(STRINGS ${VIEWER}/scripts.txt names)
foreach(name IN LISTS names)
  file(READ ${VIEWER}/${name} text)
  # What others wrote stands in a folder with its licence, and takes that along.
  get_filename_component(folder ${VIEWER}/${name} DIRECTORY)
  if(EXISTS ${folder}/LICENSE)
    file(READ ${folder}/LICENSE licence)
    string(PREPEND text "/*\n${licence}*/\n")
  endif()
  if(text MATCHES "</script|<!--")
    message(FATAL_ERROR "${name}: \"${CMAKE_MATCH_0}\" would end the element of the script")
  endif()
  string(APPEND scripts "<script>\n${text}</script>\n")
endforeach()

file(READ ${VIEWER}/page.html page)
foreach(part style scripts)
  if(NOT page MATCHES "\n<!-- ${part} -->\n")
    message(FATAL_ERROR "page.html: the line <!-- ${part} --> is missing")
  endif()
  string(REPLACE "\n<!-- ${part} -->\n" "\n${${part}}" page "${page}")
endforeach()

set(delimiter "viewer~")
string(FIND "${page}" ")${delimiter}\"" end)
if(NOT end EQUAL -1)
  message(FATAL_ERROR "The page has the characters that end its text in the source")
endif()
file(WRITE ${FRAME} "#include \"tools/kep-rg/view/frame.h\"\n\nconst std::string_view PAGE_FRAME = "
                    "R\"${delimiter}(${page})${delimiter}\";\n")
