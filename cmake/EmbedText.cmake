# Puts text files into a C++ source as string constants of namespace hastool:
#
#   cmake -DOUTPUT=... -DHEADER=... -DFILES=a.html;b.js -P EmbedText.cmake
#
# "play.html" becomes kPlayHtml, which HEADER declares.
set(code "// Made from the files beside the header; not to be changed here.\n#include \"${HEADER}\"\n\n")
string(APPEND code "namespace hastool {\n\n")
foreach(file IN LISTS FILES)
  get_filename_component(name "${file}" NAME)
  string(REGEX MATCHALL "[A-Za-z0-9]+" words "${name}")
  set(constant k)
  foreach(word IN LISTS words)
    string(SUBSTRING "${word}" 0 1 first)
    string(SUBSTRING "${word}" 1 -1 rest)
    string(TOUPPER "${first}" first)
    string(APPEND constant "${first}${rest}")
  endforeach()
  file(READ "${file}" text)
  string(APPEND code "const char ${constant}[] = R\"embedded(${text})embedded\";\n\n")
endforeach()
file(WRITE "${OUTPUT}" "${code}} // namespace hastool\n")
