; Multiplies 16 x 16 -> 32 bits by shift and add, and divides 16 / 8 bits by
; restoring division, over two tables of operands. The test reads the operand
; tables and checks every result.
;   0x1000: MUL_COUNT pairs (multiplicand, multiplier), words
;   0x1100: DIV_COUNT pairs (dividend word, divisor byte)
;   0x2000: products, 32 bits each, low word first
;   0x2100: quotients (word) and remainders (byte)

MUL_COUNT   equ 8
DIV_COUNT   equ 6

            org 0
            di
            ld sp,0x8000
            ld hl,0x2000
            ld (outptr),hl
            ld hl,0x1000
            ld b,MUL_COUNT
mulnext:    push bc
            ld c,(hl)
            inc hl
            ld b,(hl)
            inc hl
            ld e,(hl)
            inc hl
            ld d,(hl)
            inc hl
            push hl
            call mul16
            push de
            push hl
            ld hl,(outptr)
            pop de
            ld (hl),e
            inc hl
            ld (hl),d
            inc hl
            pop de
            ld (hl),e
            inc hl
            ld (hl),d
            inc hl
            ld (outptr),hl
            pop hl
            pop bc
            djnz mulnext

            ld hl,0x2100
            ld (outptr),hl
            ld hl,0x1100
            ld b,DIV_COUNT
divnext:    push bc
            ld e,(hl)
            inc hl
            ld d,(hl)
            inc hl
            ld c,(hl)
            inc hl
            push hl
            ex de,hl
            call div16by8
            ex de,hl
            ld hl,(outptr)
            ld (hl),e
            inc hl
            ld (hl),d
            inc hl
            ld (hl),a
            inc hl
            ld (outptr),hl
            pop hl
            pop bc
            djnz divnext
            halt                    ; interrupts are off: the machine stops here

; DE:HL = BC * DE
mul16:      ld hl,0
            ld a,16
mulloop:    add hl,hl
            rl e
            rl d
            jr nc,mulskip
            add hl,bc
            jr nc,mulskip
            inc de
mulskip:    dec a
            jr nz,mulloop
            ret

; HL = HL / C, A = remainder
div16by8:   xor a
            ld b,16
divloop:    add hl,hl
            rla
            jr c,divsub             ; the remainder outgrew 8 bits: divisor fits
            cp c
            jr c,divskip
divsub:     sub c
            inc l
divskip:    djnz divloop
            ret

outptr:     dw 0

            org 0x1000
            dw 0x0000, 0x1234
            dw 0x0001, 0xBEEF
            dw 0x00FF, 0x00FF
            dw 0x1234, 0x5678
            dw 0x8000, 0x0002
            dw 0xFFFF, 0xFFFF
            dw 0xABCD, 0x0100
            dw 0x7FFF, 0x8001

            org 0x1100
            dw 0x0000
            db 0x07
            dw 0xFFFF
            db 0x01
            dw 0xFFFF
            db 0xFF
            dw 0x1234
            db 0xC8
            dw 0x8001
            db 0x80
            dw 0x2710
            db 0x0A
