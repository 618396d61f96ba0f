# The peer is the C library's own gettext; msgfmt (Debian's gettext) compiles the catalogue that
# both read when the program starts.
vlt_require_debian_packages(gettext)
