# Doxygen reads the headers through this filter: their comments are plain // comments, which it
# would skip. The opening comment of a header documents the file; every other comment line that
# stands on its own line documents what follows it. Comments after code stay as they are.
FNR == 1 && /^\/\// { print "/// \\file" }
/^[ \t]*\/\/([^\/]|$)/ { sub(/\/\//, "///") }
{ print }
