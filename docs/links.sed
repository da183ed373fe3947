# For the pages as HTML: links to an example lead to its page there, and files that are no pages lie beside them.
s,\.\./\.\./examples/([a-z0-9_]+)\.([ch]),\1_8\2-example.html,g
s,\(images/LICENSE.txt\),(LICENSE.txt),
# Names of the interface lead to what it says of them; one that it has not is an error.
s,`(zel[ij][A-Z][A-Za-z0-9_]*)`,<tt>@ref \1</tt>,g
s,\(figures/,(,
