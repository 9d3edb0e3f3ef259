# Joins one web page into a self-contained document and writes it as a C++ constant:
#
#   cmake -DPAGE=src/web/login.html -DCONSTANT=kLoginPage -DOUTPUT=login_page.cpp -P JoinPage.cmake
#
# In the page, each of these stands on a line of its own:
#   <link rel="stylesheet" href="F" />            becomes part of the page's one <style>
#   <!-- include F -->                            becomes the text of F
#   <script type="module" src="F"></script>       becomes a <script> with F and, before it, all that F imports
# With -DDOCUMENT=FILE the joined document is written there too.
cmake_minimum_required(VERSION 3.25)

get_filename_component(page_dir ${PAGE} DIRECTORY)

# Git may have given the sources the line ends of this machine; the patterns below know one kind.
macro(read_text file variable)
  file(READ ${file} ${variable})
  string(REPLACE "\r" "" ${variable} "${${variable}}")
endmacro()

# What a reader of the sources wants, a browser does not need: indentation, blank lines and comments that stand on
# lines of their own. A comment's end stands at the end of a line.
macro(strip_text variable)
  string(REGEX REPLACE "\n *//[^\n]*" "" ${variable} "${${variable}}")
  string(REGEX REPLACE "\n */\\*[^*]*\\*/" "" ${variable} "${${variable}}")
  string(REGEX REPLACE "\n[ \n]+" "\n" ${variable} "${${variable}}")
endmacro()

# Appends the script `name` to module_text in the caller, after the scripts that it imports. Each script comes once:
# all share one module scope, where imports and exports have no place.
function(append_module name)
  if(name IN_LIST modules_seen)
    return()
  endif()
  list(APPEND modules_seen ${name})
  read_text(${page_dir}/${name} text)
  set(text "\n${text}")
  string(REGEX MATCHALL "from \"\\./[a-z_]+\\.js\"" imports "${text}")
  foreach(import IN LISTS imports)
    string(REGEX REPLACE ".*\"\\./([a-z_]+\\.js)\"" "\\1" imported ${import})
    append_module(${imported})
  endforeach()
  string(REGEX REPLACE "\nimport [^;]*;" "" text "${text}")
  string(REPLACE "\nexport " "\n" text "${text}")
  strip_text(text)
  string(APPEND module_text "${text}")
  set(modules_seen "${modules_seen}" PARENT_SCOPE)
  set(module_text "${module_text}" PARENT_SCOPE)
endfunction()

read_text(${PAGE} document)

string(REGEX MATCHALL "<!-- include [a-z_.]+ -->" includes "${document}")
foreach(line IN LISTS includes)
  string(REGEX REPLACE "<!-- include ([a-z_.]+) -->" "\\1" name "${line}")
  read_text(${page_dir}/${name} text)
  string(STRIP "${text}" text)
  # As deep as the line that it stands for.
  string(REPLACE "\n" "\n    " text "${text}")
  string(REPLACE "${line}" "${text}" document "${document}")
endforeach()

# For the formatter of the sources only.
string(REGEX REPLACE "\n *<!-- prettier-ignore -->" "" document "${document}")

string(REGEX MATCHALL "<link rel=\"stylesheet\" href=\"[a-z_.]+\" />" links "${document}")
set(styles "")
foreach(line IN LISTS links)
  string(REGEX REPLACE ".*href=\"([a-z_.]+)\".*" "\\1" name "${line}")
  read_text(${page_dir}/${name} text)
  set(text "\n${text}")
  strip_text(text)
  string(APPEND styles "${text}")
  string(REPLACE "    ${line}\n" "" document "${document}")
endforeach()
string(REPLACE "</head>" "  <style>${styles}</style>\n  </head>" document "${document}")

string(REGEX MATCH "<script type=\"module\" src=\"([a-z_.]+)\"></script>" line "${document}")
set(modules_seen "")
set(module_text "")
append_module(${CMAKE_MATCH_1})
string(REPLACE "${line}" "<script type=\"module\">${module_text}</script>" document "${document}")

if(document MATCHES "<link rel=\"stylesheet|<!-- include| src=\"|\nimport |\nexport ")
  message(FATAL_ERROR "${PAGE} is not self-contained: ${CMAKE_MATCH_0}")
endif()
if(DOCUMENT)
  file(WRITE ${DOCUMENT} "${document}")
endif()

# Characters one by one: compilers limit the length of string literals.
file(WRITE ${OUTPUT}.txt "${document}")
file(READ ${OUTPUT}.txt characters HEX)
file(REMOVE ${OUTPUT}.txt)
string(REGEX REPLACE "(..)" "'\\\\x\\1'," characters "${characters}")
string(REGEX REPLACE "('....','....','....','....','....','....','....','....',)" "\\1\n" characters "${characters}")
file(WRITE ${OUTPUT} "#include \"web/pages.h\"

namespace harbinet {
namespace {

constexpr char kCharacters[] = {
${characters}
};

}  // namespace

const std::string_view ${CONSTANT}{kCharacters, sizeof(kCharacters)};

}  // namespace harbinet
")
