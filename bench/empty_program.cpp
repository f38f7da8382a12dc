// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Does nothing. Linked to what treskctl is linked to, it shows what loading that costs any program.
int main()
{
    return 0;
}
