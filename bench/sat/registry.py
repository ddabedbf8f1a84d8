"""The table of instance families: name -> (function, default parameters)."""
FAMILIES = {}


def family(**defaults):
    """Registers a generator under its own name with the default values of its parameters."""
    def register(fn):
        FAMILIES[fn.__name__] = (fn, defaults)
        return fn
    return register
