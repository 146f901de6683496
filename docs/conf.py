"""The documentation: Sphinx with MyST pages. Built by ./dev docs, which puts the package on sys.path."""

project = "numerical"
author = "the numerical developers"
copyright = "2026, the numerical developers"
version = release = "0.1.0"

extensions = ["myst_parser", "sphinx.ext.autodoc", "sphinx.ext.napoleon"]
napoleon_use_param = False
napoleon_use_rtype = False
source_suffix = {".md": "markdown"}
myst_enable_extensions = ["colon_fence"]
myst_heading_anchors = 2
suppress_warnings = ["myst.xref_missing"]

html_theme = "furo"
html_title = "numerical"
autodoc_typehints = "none"
autodoc_member_order = "bysource"
default_role = "py:obj"
toc_object_entries_show_parents = "hide"
