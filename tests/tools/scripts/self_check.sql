-- The library's built-in self-check cases, one line each.
$ parvex --self-check
