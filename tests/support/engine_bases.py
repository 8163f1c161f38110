"""The dimensions that each percentage type holds fixed, per label option, written
out from the base rules independently of the library (used by engine_oracle.py).
pos: the position of each dimension, 'R', 'C' or 'L', in cube order."""


def percent_base(pos, t, opt):
    dims, n = [], len(pos)
    i = 0

    def take(p):
        nonlocal i
        start = i
        while i < n and pos[i] == p:
            dims.append(i)
            i += 1
        return i > start

    def skip(p):
        nonlocal i
        start = i
        while i < n and pos[i] == p:
            i += 1
        return i - start

    def drop():
        dims.pop()

    def column_two_before():
        return i > 1 and pos[i - 2] == "C"

    if t == 0:
        r = take("R")
        if r and opt == 1:
            drop()
            take("C")
        else:
            if take("C"):
                if opt in (2, 4):
                    if column_two_before():
                        drop(); drop(); dims.append(i - 1)
                else:
                    drop()
        take("L")
    elif t == 1:
        r = take("R")
        if r:
            if opt in (1, 3) and i > 1:
                drop(); drop(); dims.append(i - 1)
            elif opt == 2:
                pass
            else:
                drop()
        c = take("C")
        if opt == 2 and (r or c):
            drop()
        take("L")
    elif t == 2:
        pass
    elif t == 3:
        r = take("R")
        if r:
            if opt == 1:
                drop()
                if i > 1:
                    drop()
            elif opt == 3 and i > 1:
                drop(); drop(); dims.append(i - 1)
            elif opt == 2:
                pass
            else:
                drop()
        c = take("C")
        if c:
            if opt == 2:
                drop()
                if column_two_before():
                    drop()
            elif opt == 4 and column_two_before():
                drop(); drop(); dims.append(i - 1)
            elif not (r and opt == 1):
                drop()
        elif r and opt == 2:
            drop()
        take("L")
    elif t == 4:
        k = skip("R")
        if opt == 3 and k > 0:
            dims.append(k - 1)
        skip("C")
        if opt == 4 and i > 0 and pos[i - 1] == "C":
            dims.append(i - 1)
        take("L")
    elif t == 5:
        r = take("R")
        if r and opt == 1:
            drop()
        skip("C")
        if opt in (2, 4) and i > 0 and pos[i - 1] == "C":
            dims.append(i - 1)
        take("L")
    elif t == 6:
        k = skip("R")
        if opt in (1, 3) and k > 0:
            dims.append(k - 1)
        if take("C") and opt == 2:
            drop()
        take("L")
    return dims
