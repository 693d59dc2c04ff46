// Nothing of the hardware-access library is ever called: loading it is the whole of its use here.
